// What the thermal control is configured with.
#pragma once

#include "software/bp/hwlogic/CAmbientTempModalStimulus.h"
#include "software/bp/hwlogic/ICoolingBoard.h"
#include "software/include/ITempSensor.h"

#include <array>
#include <cstddef>
#include <vector>

constexpr std::size_t kThermalModes = 3; // of IThermalMode, by their numbers

/// The loop of one zone and what surrounds it.
struct SThermalZoneConfig
{
    STempRange mRange{};                          ///< of the sensor
    std::array<double, kThermalModes> mTargets{}; ///< °C, inside the range
    double mP = 0.0;                              ///< coefficients, at least 0; one sample a second
    double mI = 0.0;
    double mD = 0.0;
    double mMinimumCorrection = 0.0; ///< 0 to 1
    double mWarning = 0.0;           ///< °C, above every target: full cooling from here on
    unsigned mMinimumDemand = 0;     ///< percent, 1 to 100
};

struct SThermalConfig
{
    std::array<SThermalZoneConfig, kThermalZones> mZones{};           ///< by `EThermalZone`
    std::array<std::vector<SFanCurvePoint>, kThermalModes> mCurves{}; ///< each with at least one point
};
