// All differences are taken modulo 2^32, so that one wrap of the counter is harmless.
#include "software/utility/CTimer.h"

#include "software/utility/CException.h"
#include "software/utility/IMonotonicClock.h"

namespace
{
constexpr char kSource[] = "software/utility/CTimer";
constexpr std::uint32_t kMsPerS = 1000;
constexpr std::uint32_t kUsPerS = 1000000;
constexpr std::uint32_t kLastCount = 0xFFFFFFFF;

std::uint32_t GetCheckedFrequency(const IMonotonicClock& clock)
{
    const std::uint32_t frequency = clock.GetFrequency();
    if (frequency == 0)
        throw CException("CTimer", kSource, __LINE__, false, "Timer needs a clock that ticks");
    return frequency;
}

// The first tick of a slow clock may come at once, so it is not counted.
std::uint64_t ToUnits(std::uint32_t counts, std::uint32_t countsPerUnit, std::uint32_t unitsPerS,
                      std::uint32_t countsPerS)
{
    if (countsPerUnit != 0)
        return counts / countsPerUnit;
    return counts == 0 ? 0 : std::uint64_t{unitsPerS / countsPerS} * (counts - 1);
}

template <typename TUnits>
void CheckLimit(TUnits limit, TUnits wrap)
{
    if (limit > wrap)
        throw CException("CheckLimit", kSource, __LINE__, false, "Timer resolution exceeded");
}

// The clock was read once: between two readings the timer could expire and the difference go below 0.
template <typename TUnits>
TUnits Remaining(TUnits elapsed, TUnits limit)
{
    return elapsed >= limit ? 0 : limit - elapsed;
}
} // namespace

CTimer::CTimer(const IMonotonicClock& clock)
    : mClock(clock)
    , mCountsPerS(GetCheckedFrequency(clock))
    , mCountsPerMs(mCountsPerS / kMsPerS)
    , mCountsPerUs(mCountsPerS / kUsPerS)
    , mWrapS(kLastCount / mCountsPerS)
    , mWrapMs(std::uint64_t{mWrapS} * kMsPerS)
    , mWrapUs(std::uint64_t{mWrapS} * kUsPerS)
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
    return GetElapsedCounts() / mCountsPerS;
}

std::uint64_t CTimer::GetElapsedMs() const
{
    return ToUnits(GetElapsedCounts(), mCountsPerMs, kMsPerS, mCountsPerS);
}

std::uint64_t CTimer::GetElapsedUs() const
{
    return ToUnits(GetElapsedCounts(), mCountsPerUs, kUsPerS, mCountsPerS);
}

bool CTimer::HasTimerExpiredS(std::uint32_t limit) const
{
    CheckLimit(limit, mWrapS);
    return GetElapsedS() >= limit;
}

bool CTimer::HasTimerExpiredMs(std::uint64_t limit) const
{
    CheckLimit(limit, mWrapMs);
    return GetElapsedMs() >= limit;
}

bool CTimer::HasTimerExpiredUs(std::uint64_t limit) const
{
    CheckLimit(limit, mWrapUs);
    return GetElapsedUs() >= limit;
}

std::uint32_t CTimer::GetTimeRemainingS(std::uint32_t limit) const
{
    CheckLimit(limit, mWrapS);
    return Remaining(GetElapsedS(), limit);
}

std::uint64_t CTimer::GetTimeRemainingMs(std::uint64_t limit) const
{
    CheckLimit(limit, mWrapMs);
    return Remaining(GetElapsedMs(), limit);
}

std::uint64_t CTimer::GetTimeRemainingUs(std::uint64_t limit) const
{
    CheckLimit(limit, mWrapUs);
    return Remaining(GetElapsedUs(), limit);
}
