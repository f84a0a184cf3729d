// Durations saturate instead of wrapping, so that a long time-out never becomes a short one.
#include "software/utility/CTimerAdvanced.h"

#include "software/utility/CException.h"

#include <algorithm>

namespace
{
constexpr char kSource[] = "software/utility/CTimerAdvanced";
constexpr std::uint32_t kMsPerS = 1000;

std::uint32_t Saturate(std::uint64_t ms)
{
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(ms, UINT32_MAX));
}

std::uint32_t ToMs(std::uint32_t s)
{
    return Saturate(std::uint64_t{s} * kMsPerS);
}
} // namespace

CTimerAdvanced::CTimerAdvanced(const IMonotonicClock& clock)
    : mTimer(clock)
{
}

void CTimerAdvanced::Clear()
{
    mArmed = false;
    mAddedMs = 0;
}

void CTimerAdvanced::ArmTimer()
{
    Clear();
    mArmed = true;
    mTimer.ArmTimer();
}

void CTimerAdvanced::ArmTimerMs(std::uint32_t ms)
{
    mBaseMs = ms;
    ArmTimer();
}

void CTimerAdvanced::ArmTimerS(std::uint32_t s)
{
    ArmTimerMs(ToMs(s));
}

void CTimerAdvanced::AddTimeMs(std::uint32_t ms)
{
    mAddedMs = Saturate(std::uint64_t{mAddedMs} + ms);
}

void CTimerAdvanced::AddTimeS(std::uint32_t s)
{
    AddTimeMs(ToMs(s));
}

void CTimerAdvanced::Reschedule()
{
    Clear();
    ArmTimer();
}

std::uint64_t CTimerAdvanced::GetDuration() const
{
    if (!mArmed)
        throw CException("GetDuration", kSource, __LINE__, false, "timer not armed");
    return std::uint64_t{mBaseMs} + mAddedMs;
}

bool CTimerAdvanced::IsExpired(bool clear)
{
    const bool expired = mTimer.HasTimerExpiredMs(GetDuration());
    if (expired && clear)
        Clear();
    return expired;
}

std::uint64_t CTimerAdvanced::GetTimeRemainingMs() const
{
    return mTimer.GetTimeRemainingMs(GetDuration());
}

std::uint32_t CTimerAdvanced::GetTimeRemainingS() const
{
    return static_cast<std::uint32_t>(GetTimeRemainingMs() / kMsPerS);
}
