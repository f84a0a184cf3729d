// Temperatures and fans of a projector.
#pragma once

#include <cstddef>

/// Where heat arises; each zone has a sensor and a fan of its own.
enum class EThermalZone
{
    Die, ///< the image device
    LightSource,
    PowerSupply,
};

constexpr std::size_t kThermalZones = 3;

/// The cooling side of the boards. Used from the loop's thread; no operation may block.
class ICoolingBoard
{
public:
    virtual ~ICoolingBoard() = default;

    virtual double
    GetTemperature(EThermalZone zone) const = 0;             ///< °C; not a number when the sensor is silent
    virtual double GetFanSpeed(EThermalZone zone) const = 0; ///< rpm
    virtual void SetFanDemand(EThermalZone zone, double demand) = 0; ///< 0 (stopped) to 1 (full speed)
};
