// Whole divisions throughout: what a clock cannot resolve is cut off.
#include "software/utility/CTickRate.h"

#include "software/utility/CException.h"

#include <algorithm>

namespace
{
constexpr char kSource[] = "software/utility/CTickRate";
constexpr std::uint32_t kMsPerS = 1000;
constexpr std::uint32_t kUsPerS = 1000000;
constexpr std::uint32_t kLastCount = 0xFFFFFFFF;

std::uint32_t Checked(std::uint32_t countsPerS)
{
    if (countsPerS == 0)
        throw CException(__func__, kSource, __LINE__, false, "Timer needs a clock that ticks");
    return countsPerS;
}

// The first tick of a slow clock may come at once, so it is not counted.
std::uint64_t ToUnits(std::uint32_t counts, std::uint32_t countsPerUnit, std::uint32_t unitsPerS,
                      std::uint32_t countsPerS) noexcept
{
    if (countsPerUnit != 0)
        return counts / countsPerUnit;
    return counts == 0 ? 0 : std::uint64_t{unitsPerS / countsPerS} * (counts - 1);
}

void CheckLimit(std::uint64_t limit, std::uint64_t wrap)
{
    if (limit > wrap)
        throw CException(__func__, kSource, __LINE__, false, "Timer resolution exceeded");
}
} // namespace

CTickRate::CTickRate(std::uint32_t countsPerS)
    : mCountsPerS(Checked(countsPerS))
    , mCountsPerMs(countsPerS / kMsPerS)
    , mCountsPerUs(countsPerS / kUsPerS)
    , mWrapS(kLastCount / countsPerS)
{
}

std::uint64_t CTickRate::ToMs(std::uint32_t counts) const noexcept
{
    return ToUnits(counts, mCountsPerMs, kMsPerS, mCountsPerS);
}

std::uint64_t CTickRate::ToUs(std::uint32_t counts) const noexcept
{
    return ToUnits(counts, mCountsPerUs, kUsPerS, mCountsPerS);
}

std::uint32_t CTickRate::FromUs(std::uint64_t us) const noexcept
{
    if (us == 0)
        return 0;
    if (mCountsPerUs != 0)
        return static_cast<std::uint32_t>(us * mCountsPerUs);
    const std::uint64_t usPerCount = kUsPerS / mCountsPerS;
    // A frequency that does not divide a million shortens its unit, which can carry past the last count.
    return static_cast<std::uint32_t>(
        std::min<std::uint64_t>((us + usPerCount - 1) / usPerCount + 1, kLastCount));
}

std::uint64_t CTickRate::ToWaitUs(std::uint32_t counts) const noexcept
{
    return (std::uint64_t{counts} * kUsPerS + mCountsPerS - 1) / mCountsPerS;
}

std::uint64_t CTickRate::GetWrapMs() const noexcept
{
    return std::uint64_t{mWrapS} * kMsPerS;
}

std::uint64_t CTickRate::GetWrapUs() const noexcept
{
    return std::uint64_t{mWrapS} * kUsPerS;
}

void CTickRate::CheckS(std::uint32_t limit) const
{
    CheckLimit(limit, mWrapS);
}

void CTickRate::CheckMs(std::uint64_t limit) const
{
    CheckLimit(limit, GetWrapMs());
}

void CTickRate::CheckUs(std::uint64_t limit) const
{
    CheckLimit(limit, GetWrapUs());
}
