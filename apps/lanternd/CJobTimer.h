// Runs the scheduler's jobs from a loop that waits for descriptors.
#pragma once

#include "software/utility/CDescriptor.h"

#include <cstdint>
#include <optional>

class CJobScheduler;

/// Wakes the loop when a job is due, by a timer behind a descriptor. Waking takes its time, so the timer goes
/// off a little early, and what is left is spent looking at the clock. The scheduler is not owned and must
/// outlive it. Used from one thread.
class CJobTimer
{
public:
    static constexpr std::uint64_t kHeadStartUs = 10; ///< what waking a thread takes at least

    /// @throws CException "Unable to open a timer for jobs" with the system error
    explicit CJobTimer(CJobScheduler& scheduler);

    int GetDescriptor() const noexcept { return mTimer.Get(); } ///< readable when `Run` shall be called

    /// Sets the timer for the next job; to be called when jobs were registered from outside a job.
    void Arm();
    /// One pass of the scheduler when a job is due, or will be at once; else nothing, so that a loop may call
    /// it whatever woke it.
    void Run();

private:
    void Set(std::optional<std::uint64_t> us) noexcept; // none is never

    CJobScheduler& mScheduler;
    CDescriptor mTimer;
};
