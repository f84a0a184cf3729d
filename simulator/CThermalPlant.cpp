// Lumped-capacity model: one temperature, losses linear in the fan's speed.
#include "simulator/CThermalPlant.h"

#include "simulator/CSimulatedFan.h"
#include "software/utility/CException.h"

#include <cmath>

namespace
{
constexpr char kSource[] = "simulator/CThermalPlant";
constexpr double kStillAirLoss = 4.0; // W/K with the fan stopped
constexpr double kLossPerRpm = 0.012; // W/K per rpm
} // namespace

CThermalPlant::CThermalPlant(double heatCapacity, const CSimulatedFan& fan)
    : mHeatCapacity(heatCapacity)
    , mFan(fan)
{
    if (!(heatCapacity > 0.0)) // written so that NaN is refused too
        throw CException(__func__, kSource, __LINE__, false,
                         "Thermal plant needs a positive heat capacity (%g J/K)", heatCapacity);
}

void CThermalPlant::Advance(std::chrono::milliseconds step) noexcept
{
    // Newton's law of cooling, solved exactly: after a suspended hour an Euler step would overshoot.
    const double loss = kStillAirLoss + kLossPerRpm * mFan.GetSpeed();
    const double balance = kAmbient + mWatts / loss;
    const double seconds = std::chrono::duration<double>(step).count();
    mTemperature = balance + (mTemperature - balance) * std::exp(-loss * seconds / mHeatCapacity);
}
