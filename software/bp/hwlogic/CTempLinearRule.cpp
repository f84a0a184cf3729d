// The conversion to int is checked: outside its range it would be undefined.
#include "software/bp/hwlogic/CTempLinearRule.h"

#include <algorithm>
#include <cmath>
#include <limits>

int CTempLinearRule::ProcessRawReading(int reading) const noexcept
{
    constexpr double kLeast = std::numeric_limits<int>::min();
    constexpr double kMost = std::numeric_limits<int>::max();
    const double value = reading * mGain + mOffset + 0.5;
    return std::isnan(value) ? 0 : static_cast<int>(std::clamp(value, kLeast, kMost));
}
