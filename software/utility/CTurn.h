// A share of the loop's time.
#pragma once

#include <chrono>

/// How long one client or one line may keep all others waiting. The clock is not looked at before there is
/// more than one thing to do.
class CTurn
{
public:
    using Clock = std::chrono::steady_clock;

    explicit CTurn(Clock::duration quantum) noexcept
        : mQuantum(quantum)
    {
    }

    void Start() noexcept ///< the time runs from the first call on
    {
        if (mEnd == Clock::time_point())
            mEnd = Clock::now() + mQuantum;
    }
    /// Whether nothing more should be begun; never before it was started.
    bool IsOver() const noexcept { return mEnd != Clock::time_point() && Clock::now() >= mEnd; }

private:
    const Clock::duration mQuantum;
    Clock::time_point mEnd;
};
