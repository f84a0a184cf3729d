// All differences are taken modulo 2^32, so that one wrap of the counter is harmless.
#include "software/utility/CTimer.h"

#include "software/utility/IMonotonicClock.h"

namespace
{
// The clock was read once: between two readings the timer could expire and the difference go below 0.
template <typename TUnits>
TUnits Remaining(TUnits elapsed, TUnits limit)
{
    return elapsed >= limit ? 0 : limit - elapsed;
}
} // namespace

CTimer::CTimer(const IMonotonicClock& clock)
    : mClock(clock)
    , mRate(clock.GetFrequency())
{
    ArmTimer();
}

void CTimer::ArmTimer()
{
    mStart = mClock.GetCounts();
}

std::uint32_t CTimer::GetElapsedCounts() const
{
    return mClock.GetCounts() - mStart;
}

std::uint32_t CTimer::GetElapsedS() const
{
    return mRate.ToS(GetElapsedCounts());
}

std::uint64_t CTimer::GetElapsedMs() const
{
    return mRate.ToMs(GetElapsedCounts());
}

std::uint64_t CTimer::GetElapsedUs() const
{
    return mRate.ToUs(GetElapsedCounts());
}

bool CTimer::HasTimerExpiredS(std::uint32_t limit) const
{
    mRate.CheckS(limit);
    return GetElapsedS() >= limit;
}

bool CTimer::HasTimerExpiredMs(std::uint64_t limit) const
{
    mRate.CheckMs(limit);
    return GetElapsedMs() >= limit;
}

bool CTimer::HasTimerExpiredUs(std::uint64_t limit) const
{
    mRate.CheckUs(limit);
    return GetElapsedUs() >= limit;
}

std::uint32_t CTimer::GetTimeRemainingS(std::uint32_t limit) const
{
    mRate.CheckS(limit);
    return Remaining(GetElapsedS(), limit);
}

std::uint64_t CTimer::GetTimeRemainingMs(std::uint64_t limit) const
{
    mRate.CheckMs(limit);
    return Remaining(GetElapsedMs(), limit);
}

std::uint64_t CTimer::GetTimeRemainingUs(std::uint64_t limit) const
{
    mRate.CheckUs(limit);
    return Remaining(GetElapsedUs(), limit);
}
