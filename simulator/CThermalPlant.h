// Heat balance of one part of the simulated projector: what the sensor of a real board would feel.
#pragma once

#include <chrono>

class CSimulatedFan;

/// One lumped thermal mass, heated by its electronics and cooled by the air that a fan moves.
/// Used from one thread only; it takes no locks.
class CThermalPlant
{
public:
    /// @param heatCapacity  J/K, above 0
    /// @param fan           its speed sets the cooling; not owned, must outlive the plant
    /// @throws CException   "Thermal plant needs a positive heat capacity (%g J/K)"
    CThermalPlant(double heatCapacity, const CSimulatedFan& fan);

    void SetHeat(double watts) noexcept { mWatts = watts; }
    double GetTemperature() const noexcept { return mTemperature; } ///< °C

    /// Moves the plant forward by any length of time; the fan is read once, at the start.
    void Advance(std::chrono::milliseconds step) noexcept;

    static constexpr double kAmbient = 25.0; ///< °C, of the air around, and of the plant at first

private:
    const double mHeatCapacity; // J/K
    const CSimulatedFan& mFan;
    double mWatts = 0.0;
    double mTemperature = kAmbient; // °C
};
