// The one rule for every reader of a sensor.
#include "software/bp/hwlogic/NTempReading.h"

#include "software/include/ITempSensor.h"

#include <algorithm>
#include <cmath>
#include <limits>

double NTempReading::GetTrusted(const ITempSensor& sensor)
{
    const double celsius = sensor.GetRealTemperature();
    const STempRange range = sensor.GetRange();
    // Written so that what is not a number is refused too.
    const bool isInside = celsius >= range.mLowest && celsius <= range.mHighest && std::isfinite(celsius);
    return isInside && sensor.GetAge() <= kMaxAge ? celsius : std::numeric_limits<double>::quiet_NaN();
}

int NTempReading::Truncate(double celsius) noexcept
{
    constexpr double kLargest = -1.0 * ITempSensor::kNoTemperature - 1.0;
    if (std::isnan(celsius))
        return ITempSensor::kNoTemperature;
    return static_cast<int>(std::clamp(celsius, -kLargest, kLargest));
}
