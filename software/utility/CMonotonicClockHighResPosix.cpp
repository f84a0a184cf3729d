// CLOCK_MONOTONIC, cut to 32 bits.
#include "software/utility/CMonotonicClockHighResPosix.h"

#include "software/utility/CException.h"

#include <ctime>

namespace
{
constexpr char kSource[] = "software/utility/CMonotonicClockHighResPosix";
constexpr char kCanNotOpen[] = "Can not open high resolution system monotonic clock";
constexpr std::uint32_t kCountsPerS = 100000000;
constexpr long kNsPerCount = 10;
constexpr long kMaxResolutionNs = 10; // the text says 1 ns; it is what the log has always shown
} // namespace

CMonotonicClockHighResPosix::CMonotonicClockHighResPosix()
    : mCountsPerS(kCountsPerS)
{
    timespec resolution{};
    if (::clock_getres(CLOCK_MONOTONIC, &resolution) != 0)
        throw CException(__func__, kSource, __LINE__, true, kCanNotOpen);
    if (resolution.tv_sec > 0 || resolution.tv_nsec > kMaxResolutionNs)
        throw CException(__func__, kSource, __LINE__, false,
                         "High resolution monotonic timer could not meet the requirement of 1ns resolution");
}

std::uint32_t CMonotonicClockHighResPosix::GetCounts() const
{
    timespec now{};
    if (::clock_gettime(CLOCK_MONOTONIC, &now) != 0)
        throw CException(__func__, kSource, __LINE__, true, kCanNotOpen);
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(now.tv_sec) * kCountsPerS +
                                      static_cast<std::uint64_t>(now.tv_nsec / kNsPerCount));
}
