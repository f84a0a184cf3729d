// Several sensors that answer as one.
#pragma once

#include "software/include/ITempSensor.h"

#include <vector>

/// Combines the readings of its sensors. One reading that may not be believed makes the combined one missing:
/// nobody knows whether it was the one that mattered. Sensors are not owned and must outlive it. Used from
/// the loop's thread.
class CTempSensorGroup : public ITempSensor
{
public:
    enum class EMode
    {
        Minimum,
        Maximum,
        Average,
        Median,   ///< of an even number: the mean of the two in the middle
        Weighted, ///< the mean by the sensors' weights
    };

    explicit CTempSensorGroup(EMode mode) noexcept
        : mMode(mode)
    {
    }

    /// @param weight        0 or above; used by `EMode::Weighted` alone
    /// @throws CException   "Invalid weight of a temperature sensor (%g)"
    void AddSensor(const ITempSensor& sensor, double weight = 1.0);

    /// Missing without sensors, and when all weights are 0.
    double GetRealTemperature() const override;
    int GetTemperature() const override;
    STempRange GetRange() const override; ///< covers the ranges of all
    unsigned GetAge() const override;     ///< that of the oldest reading

private:
    struct SMember
    {
        const ITempSensor* mSensor;
        double mWeight;
    };

    const EMode mMode;
    std::vector<SMember> mMembers;
};
