// Ticks as `times` counts them.
#include "software/utility/CMonotonicClockLowRes.h"

#include <cerrno>

#include <sys/times.h>
#include <unistd.h>

// Initialised before any constructor runs, so that a clock may itself be static.
std::atomic<std::uint32_t> CMonotonicClockLowRes::mCountsPerS{0};

CMonotonicClockLowRes::CMonotonicClockLowRes()
{
    if (mCountsPerS == 0) // two threads at once would store the same
        mCountsPerS = static_cast<std::uint32_t>(::sysconf(_SC_CLK_TCK));
}

std::uint32_t CMonotonicClockLowRes::GetCounts() const
{
    tms unused;
    const clock_t counts = ::times(&unused);
    return static_cast<std::uint32_t>(counts == static_cast<clock_t>(-1) ? -errno : counts);
}
