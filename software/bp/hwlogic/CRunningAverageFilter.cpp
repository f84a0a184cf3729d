// All sums wrap at 32 bits.
#include "software/bp/hwlogic/CRunningAverageFilter.h"

#include "software/utility/CException.h"

namespace
{
constexpr char kSource[] = "software/bp/hwlogic/CRunningAverageFilter";
}

CRunningAverageFilter::CRunningAverageFilter(std::uint32_t depth)
    : mDepth(depth)
{
    if (depth == 0)
        throw CException(__func__, kSource, __LINE__, false, "A running average needs a depth above 0");
}

int CRunningAverageFilter::GetAverage(int sample) noexcept
{
    const auto value = static_cast<std::uint32_t>(sample);
    mAverage = mIsPrimed ? ((mDepth - 1) * mAverage + value) / mDepth : value;
    mIsPrimed = true;
    return static_cast<int>(mAverage);
}
