// Temperatures and fans of a projector.
#pragma once

#include <cstddef>
#include <cstdint>

/// Where heat arises; each zone has a sensor and a fan of its own.
enum class EThermalZone
{
    Die, ///< the image device
    LightSource,
    PowerSupply,
};

constexpr std::size_t kThermalZones = 3;

/// The cooling side of the boards. Used from the loop's thread; no operation may block or throw.
class ICoolingBoard
{
public:
    virtual ~ICoolingBoard() = default;

    virtual double
    GetTemperature(EThermalZone zone) const = 0;             ///< °C; not a number when the sensor is silent
    virtual double GetFanSpeed(EThermalZone zone) const = 0; ///< rpm
    virtual void SetFanDemand(EThermalZone zone, double demand) = 0; ///< 0 (stopped) to 1 (full speed)

    /// How often the zone's sensor has measured so far: a count that stands still tells of a sensor that does
    /// no longer. Wraps.
    virtual std::uint32_t GetSampleCount(EThermalZone zone) const = 0;
    virtual double GetAmbientTemperature() const = 0; ///< °C; not a number when the sensor is silent
};
