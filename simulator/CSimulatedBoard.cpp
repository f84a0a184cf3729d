// Heat by zone: some for being on, and more for the light.
#include "simulator/CSimulatedBoard.h"

#include <limits>

namespace
{
struct SZoneHeat
{
    double mIdleWatts;  // switched on, without light
    double mLightWatts; // in addition at full light
};

constexpr double kAbsurdTemperature = 300.0; // °C, what a broken line reads as

constexpr SZoneHeat kZoneHeat[kThermalZones] = {
    {80.0, 1120.0}, // die
    {60.0, 840.0},  // light source
    {50.0, 400.0},  // power supply
};
} // namespace

CSimulatedBoard::SZone::SZone(double fullSpeed, double heatCapacity)
    : mFan(fullSpeed)
    , mPlant(heatCapacity, mFan)
    , mMeasured(mPlant.GetTemperature())
{
}

// Full speed in rpm and heat capacity in J/K, in the order of EThermalZone.
CSimulatedBoard::CSimulatedBoard()
    : mZones{{{4000.0, 800.0}, {3600.0, 1500.0}, {3000.0, 1000.0}}}
{
}

bool CSimulatedBoard::SetPower(bool on)
{
    mIsOn = on;
    UpdateHeat();
    return true;
}

bool CSimulatedBoard::SetShutter(bool closed)
{
    mIsShutterClosed = closed;
    return true;
}

bool CSimulatedBoard::SetLightOutput(double fraction)
{
    if (!(fraction >= 0.0 && fraction <= 1.0)) // written so that NaN is refused too
        return false;
    mLightOutput = fraction;
    UpdateHeat();
    return true;
}

bool CSimulatedBoard::SelectSource(int source)
{
    mSource = source;
    return true;
}

bool CSimulatedBoard::ShowTestPattern(int pattern)
{
    mTestPattern = pattern;
    return true;
}

bool CSimulatedBoard::SetPicture(EPictureSetting setting, int value)
{
    mPicture[setting] = value;
    return true;
}

int CSimulatedBoard::GetPicture(EPictureSetting setting) const
{
    const auto found = mPicture.find(setting);
    return found == mPicture.end() ? 0 : found->second;
}

double CSimulatedBoard::GetTemperature(EThermalZone zone) const
{
    const SZone& measured = ZoneAt(zone);
    switch (measured.mFault)
    {
    case ESensorFault::Silent: return std::numeric_limits<double>::quiet_NaN();
    case ESensorFault::Absurd: return kAbsurdTemperature;
    case ESensorFault::None:
    case ESensorFault::Frozen: break;
    }
    return measured.mMeasured;
}

std::uint32_t CSimulatedBoard::GetSampleCount(EThermalZone zone) const
{
    return ZoneAt(zone).mSamples;
}

double CSimulatedBoard::GetAmbientTemperature() const
{
    return CThermalPlant::kAmbient;
}

void CSimulatedBoard::SetSensorFault(EThermalZone zone, ESensorFault fault) noexcept
{
    ZoneAt(zone).mFault = fault;
}

double CSimulatedBoard::GetFanSpeed(EThermalZone zone) const
{
    return ZoneAt(zone).mFan.GetSpeed();
}

void CSimulatedBoard::SetFanDemand(EThermalZone zone, double demand)
{
    ZoneAt(zone).mFan.SetDemand(demand);
}

void CSimulatedBoard::UpdateHeat() noexcept
{
    for (std::size_t i = 0; i < kThermalZones; ++i)
        mZones[i].mPlant.SetHeat(mIsOn ? kZoneHeat[i].mIdleWatts + kZoneHeat[i].mLightWatts * mLightOutput
                                       : 0.0);
}

void CSimulatedBoard::Advance(std::chrono::milliseconds step) noexcept
{
    for (SZone& zone : mZones)
    {
        // The fan first: a plant reads its fan once, and after a long step that must be the speed it reached.
        zone.mFan.Advance(step);
        zone.mPlant.Advance(step);
        if (zone.mFault == ESensorFault::Frozen)
            continue;
        zone.mMeasured = zone.mPlant.GetTemperature();
        ++zone.mSamples;
    }
}
