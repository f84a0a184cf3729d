// The rule: nothing up to a starting temperature, then in proportion, up to what the mode allows.
#include "software/bp/hwlogic/CFanControl.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace
{
struct SFanRule
{
    double mStart; // °C, fans stand still below it
    double mFull;  // °C, where full speed would be reached
    double mMost;  // highest demand, for the sake of the noise
};

constexpr SFanRule kRules[] = {
    {35.0, 60.0, 1.0}, // default
    {40.0, 80.0, 0.4}, // quiet
    {28.0, 45.0, 1.0}, // performance
};

constexpr EThermalZone kZones[kThermalZones] = {EThermalZone::Die, EThermalZone::LightSource,
                                                EThermalZone::PowerSupply};
} // namespace

double CFanControl::DemandAt(EMode mode, double celsius) noexcept
{
    if (!std::isfinite(celsius))
        return 1.0;
    const SFanRule& rule = kRules[mode];
    return std::clamp((celsius - rule.mStart) / (rule.mFull - rule.mStart), 0.0, rule.mMost);
}

void CFanControl::Update()
{
    for (const EThermalZone zone : kZones)
    {
        double& demand = mDemands[static_cast<std::size_t>(zone)];
        demand = DemandAt(mMode, mBoard.GetTemperature(zone));
        mBoard.SetFanDemand(zone, demand);
    }
}

bool CFanControl::ApplyValue(const std::string&, int value)
{
    if (value < 0 || value >= static_cast<int>(std::size(kRules)))
        return false;
    mMode = static_cast<EMode>(value);
    return true;
}

bool CFanControl::ApplyText(const std::string&, const std::string&)
{
    return false;
}
