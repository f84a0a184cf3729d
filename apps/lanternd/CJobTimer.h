// Wakes the loop when a job is due.
#pragma once

#include "software/utility/CDescriptor.h"

#include <cstdint>
#include <optional>

/// One shot on the monotonic clock, behind a descriptor that a loop can wait for. Used from one thread.
class CJobTimer
{
public:
    /// @throws CException "Unable to open a timer for jobs" with the system error
    CJobTimer();

    int GetDescriptor() const noexcept
    {
        return mTimer.Get();
    } ///< readable from the due time to the next `Arm`

    /// Replaces the time before. @param us  from now; 0 is at once, none is never
    void Arm(std::optional<std::uint64_t> us) noexcept;

private:
    CDescriptor mTimer;
};
