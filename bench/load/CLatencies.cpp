// Quantiles by selection.
#include "bench/load/CLatencies.h"

#include <algorithm>

double CLatencies::GetQuantileUs(double fraction)
{
    if (mSamples.empty())
        return 0.0;
    const auto last = static_cast<double>(mSamples.size() - 1);
    const auto wanted = mSamples.begin() + static_cast<std::ptrdiff_t>(fraction * last);
    std::nth_element(mSamples.begin(), wanted, mSamples.end());
    return std::chrono::duration<double, std::micro>(*wanted).count();
}
