// Setting a timerfd anew also makes it unreadable, so that nobody has to read it.
#include "apps/lanternd/CJobTimer.h"

#include "software/utility/CException.h"
#include "software/utility/CJobScheduler.h"

#include <algorithm>

#include <sys/timerfd.h>

namespace
{
constexpr char kSource[] = "apps/lanternd/CJobTimer";
constexpr std::uint64_t kUsPerS = 1000000;
constexpr std::uint64_t kNsPerUs = 1000;
} // namespace

CJobTimer::CJobTimer(CJobScheduler& scheduler)
    : mScheduler(scheduler)
    , mTimer(::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC))
{
    if (!mTimer.IsOpen())
        throw CException(__func__, kSource, __LINE__, true, "Unable to open a timer for jobs");
}

void CJobTimer::Arm()
{
    std::optional<std::uint64_t> next = mScheduler.GetTimeToNextJobUs();
    if (next)
        *next -= std::min(*next, kHeadStartUs);
    Set(next);
}

void CJobTimer::Run()
{
    std::optional<std::uint64_t> next = mScheduler.GetTimeToNextJobUs();
    if (!next || *next > kHeadStartUs)
        return;
    while (next && *next > 0)
        next = mScheduler.GetTimeToNextJobUs();
    mScheduler.Run();
    Arm();
}

void CJobTimer::Set(std::optional<std::uint64_t> us) noexcept
{
    itimerspec once{}; // all zero: never
    if (us)
    {
        once.it_value.tv_sec = static_cast<time_t>(*us / kUsPerS);
        once.it_value.tv_nsec = static_cast<long>(std::max<std::uint64_t>(*us % kUsPerS * kNsPerUs, 1));
    }
    ::timerfd_settime(mTimer.Get(), 0, &once, nullptr); // cannot fail with what it is given
}
