// A timerfd counts the ticks, so that a late reader sees how many there were.
#include "apps/lanternd/CTickTimer.h"

#include "software/utility/CException.h"
#include "software/utility/NPosix.h"

#include <cstdint>

#include <sys/timerfd.h>
#include <unistd.h>

namespace
{
constexpr char kSource[] = "apps/lanternd/CTickTimer";
constexpr long kMsPerSecond = 1000;
constexpr long kNsPerMs = 1000000;
} // namespace

CTickTimer::CTickTimer(std::chrono::milliseconds period)
    : mPeriod(period)
    , mTimer(::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC))
{
    itimerspec every{};
    every.it_interval.tv_sec = static_cast<time_t>(period.count() / kMsPerSecond);
    every.it_interval.tv_nsec = static_cast<long>(period.count() % kMsPerSecond) * kNsPerMs;
    every.it_value = every.it_interval;
    if (!mTimer.IsOpen() || ::timerfd_settime(mTimer.Get(), 0, &every, nullptr) != 0)
        throw CException(__func__, kSource, __LINE__, true, "Unable to start a timer of %lld ms",
                         static_cast<long long>(period.count()));
}

std::chrono::milliseconds CTickTimer::TakeElapsed() noexcept
{
    std::uint64_t ticks = 0;
    const ssize_t count =
        NPosix::RetryOnInterrupt([&] { return ::read(mTimer.Get(), &ticks, sizeof ticks); });
    if (count != static_cast<ssize_t>(sizeof ticks))
        return std::chrono::milliseconds(0);
    return mPeriod * static_cast<std::chrono::milliseconds::rep>(ticks);
}
