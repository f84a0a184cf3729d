// Everything is a difference of two counts, so that a wrap of the clock does not show.
#include "software/utility/CTimer.h"

#include "software/utility/CException.h"
#include "software/utility/IMonotonicClock.h"

namespace
{
constexpr char kSource[] = "software/utility/CTimer";
constexpr std::uint32_t kMsPerS = 1000;
constexpr std::uint32_t kUsPerS = 1000000;

bool HasPassed(const char* function, std::uint32_t elapsed, std::uint32_t limit, std::uint64_t wrap)
{
    if (limit > wrap)
        throw CException(function, kSource, __LINE__, false, "Timer resolution exceeded");
    return elapsed >= limit;
}

std::uint32_t Remaining(bool expired, std::uint32_t elapsed, std::uint32_t limit)
{
    return expired || elapsed >= limit ? 0 : limit - elapsed; // time goes on between the two readings
}
} // namespace

CTimer::CTimer(const IMonotonicClock& clock)
    : mClock(clock)
    , mStart(clock.GetCounts())
    , mCountsPerS(clock.GetFrequency())
    , mCountsPerMs(mCountsPerS / kMsPerS)
    , mCountsPerUs(mCountsPerS / kUsPerS)
    , mWrapS(UINT32_MAX / mCountsPerS)
    , mWrapMs(std::uint64_t{mWrapS} * kMsPerS)
    , mWrapUs(std::uint64_t{mWrapS} * kUsPerS)
{
}

void CTimer::ArmTimer()
{
    mStart = mClock.GetCounts();
}

std::uint32_t CTimer::GetElapsedS() const
{
    return (mClock.GetCounts() - mStart) / mCountsPerS;
}

std::uint32_t CTimer::GetElapsedMs() const
{
    return GetElapsed(mCountsPerMs, kMsPerS);
}

std::uint32_t CTimer::GetElapsedUs() const
{
    return GetElapsed(mCountsPerUs, kUsPerS);
}

bool CTimer::HasTimerExpiredS(std::uint32_t limit) const
{
    return HasPassed(__func__, GetElapsedS(), limit, mWrapS);
}

bool CTimer::HasTimerExpiredMs(std::uint32_t limit) const
{
    return HasPassed(__func__, GetElapsedMs(), limit, mWrapMs);
}

bool CTimer::HasTimerExpiredUs(std::uint32_t limit) const
{
    return HasPassed(__func__, GetElapsedUs(), limit, mWrapUs);
}

std::uint32_t CTimer::GetTimeRemainingS(std::uint32_t limit) const
{
    return Remaining(HasTimerExpiredS(limit), GetElapsedS(), limit);
}

std::uint32_t CTimer::GetTimeRemainingMs(std::uint32_t limit) const
{
    return Remaining(HasTimerExpiredMs(limit), GetElapsedMs(), limit);
}

std::uint32_t CTimer::GetTimeRemainingUs(std::uint32_t limit) const
{
    return Remaining(HasTimerExpiredUs(limit), GetElapsedUs(), limit);
}

std::uint32_t CTimer::GetElapsed(std::uint32_t countsPerUnit, std::uint32_t unitsPerS) const
{
    const std::uint32_t counts = mClock.GetCounts() - mStart;
    if (countsPerUnit != 0)
        return counts / countsPerUnit;
    // The first count may come at once after arming, so it does not stand for a whole tick.
    return counts == 0 ? 0 : unitsPerS / mCountsPerS * (counts - 1);
}
