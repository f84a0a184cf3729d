// Interval timer of every time-out.
#pragma once

#include <cstdint>

class IMonotonicClock;

/// Measures from the moment it was armed, in the arithmetic of the clock's 32-bit count: one wrap of the
/// count does no harm, a second one cannot be told from none. Armed at construction. The clock must outlive
/// it.
class CTimer
{
public:
    explicit CTimer(const IMonotonicClock& clock);

    void ArmTimer(); ///< starts again from now

    std::uint32_t GetElapsedS() const;
    std::uint32_t GetElapsedMs() const;
    std::uint32_t GetElapsedUs() const;

    /// Whether this much has passed.
    /// @throws CException "Timer resolution exceeded" for a limit that the clock's count cannot hold
    bool HasTimerExpiredS(std::uint32_t limit) const;
    bool HasTimerExpiredMs(std::uint32_t limit) const;
    bool HasTimerExpiredUs(std::uint32_t limit) const;

    /// What is left of the limit, 0 when it has passed.
    /// @throws CException "Timer resolution exceeded" likewise
    std::uint32_t GetTimeRemainingS(std::uint32_t limit) const;
    std::uint32_t GetTimeRemainingMs(std::uint32_t limit) const;
    std::uint32_t GetTimeRemainingUs(std::uint32_t limit) const;

private:
    std::uint32_t GetElapsed(std::uint32_t countsPerUnit, std::uint32_t unitsPerS) const;

    const IMonotonicClock& mClock;
    std::uint32_t mStart;
    const std::uint32_t mCountsPerS;
    const std::uint32_t mCountsPerMs; // 0 for a clock of less than 1 kHz
    const std::uint32_t mCountsPerUs; // 0 for a clock of less than 1 MHz
    const std::uint32_t mWrapS;
    const std::uint64_t mWrapMs;
    const std::uint64_t mWrapUs;
};
