// The beat of everything that goes on by itself.
#pragma once

#include "software/utility/CDescriptor.h"

#include <chrono>

/// Ticks on the monotonic clock, behind a descriptor that a loop can wait for. Ticks that were missed are
/// made up for by their time, so no time is ever lost. Used from one thread.
class CTickTimer
{
public:
    /// @param period       above 0
    /// @throws CException  "Unable to start a timer of %lld ms" with the system error
    explicit CTickTimer(std::chrono::milliseconds period);

    int GetDescriptor() const noexcept { return mTimer.Get(); } ///< readable when a tick is due

    /// @returns the time of all ticks since the last call, 0 when none is due
    std::chrono::milliseconds TakeElapsed() noexcept;

private:
    const std::chrono::milliseconds mPeriod;
    CDescriptor mTimer;
};
