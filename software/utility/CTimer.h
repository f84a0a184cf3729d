// Measures intervals with a tick clock.
#pragma once

#include "software/utility/CTickRate.h"

#include <cstdint>

class IMonotonicClock;

/// Armed when it is made. An interval is right as long as the clock wraps at most once in it; what cannot be
/// measured so is refused as a limit. Not thread-safe against its own `ArmTimer`.
class CTimer
{
public:
    /// @param clock  not owned, must outlive the timer
    /// @throws CException "Timer needs a clock that ticks" for a frequency of 0
    explicit CTimer(const IMonotonicClock& clock);

    void ArmTimer(); ///< the interval starts now

    /// Whole units since the timer was armed. A clock slower than the unit loses its first tick, so that a
    /// wait is never shorter than asked: on 100 ticks a second one tick reads as 0 ms.
    std::uint32_t GetElapsedS() const;
    std::uint64_t GetElapsedMs() const;
    std::uint64_t GetElapsedUs() const;

    /// Whether that many units have gone by.
    /// @throws CException "Timer resolution exceeded" for a limit beyond the wrap of the clock
    bool HasTimerExpiredS(std::uint32_t limit) const;
    bool HasTimerExpiredMs(std::uint64_t limit) const;
    bool HasTimerExpiredUs(std::uint64_t limit) const;

    /// Units left until the limit, 0 when it has expired.
    /// @throws CException "Timer resolution exceeded" for a limit beyond the wrap of the clock
    std::uint32_t GetTimeRemainingS(std::uint32_t limit) const;
    std::uint64_t GetTimeRemainingMs(std::uint64_t limit) const;
    std::uint64_t GetTimeRemainingUs(std::uint64_t limit) const;

private:
    std::uint32_t GetElapsedCounts() const;

    const IMonotonicClock& mClock;
    std::uint32_t mStart = 0; // counts
    const CTickRate mRate;
};
