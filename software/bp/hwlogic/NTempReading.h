// Which readings may be believed.
#pragma once

class ITempSensor;

namespace NTempReading
{
constexpr unsigned kMaxAge = 3; ///< samples; an older reading is none

/// The reading when it is a number inside the sensor's range and not too old, else not a number.
double GetTrusted(const ITempSensor& sensor);

/// A reading as a whole number, truncated; `ITempSensor::kNoTemperature` for what is not a number.
int Truncate(double celsius) noexcept;
} // namespace NTempReading
