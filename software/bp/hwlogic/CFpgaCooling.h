// The cooling side of a board whose temperatures are in FPGA registers.
#pragma once

#include "software/bp/hwlogic/ICoolingBoard.h"
#include "software/bp/rtl/fpga/sensors/CDieTemperature.h"

#include <array>
#include <cstdint>
#include <memory>

class IPtPages;

/// Reads each zone's sensor through its register block; the fans belong to another board. A sensor that has
/// not measured yet, and a bus that fails, give no temperature. Used from the loop's thread.
class CFpgaCooling : public ICoolingBoard
{
public:
    /// @param pages  of the reference design; must outlive it
    /// @param fans   the board that drives the fans; must outlive it
    /// @throws CException what a page refuses
    CFpgaCooling(IPtPages& pages, ICoolingBoard& fans);

    double GetTemperature(EThermalZone zone) const override;
    double GetFanSpeed(EThermalZone zone) const override { return mFans.GetFanSpeed(zone); }
    void SetFanDemand(EThermalZone zone, double demand) override { mFans.SetFanDemand(zone, demand); }
    std::uint32_t GetSampleCount(EThermalZone zone) const override { return mFans.GetSampleCount(zone); }
    double GetAmbientTemperature() const override { return mFans.GetAmbientTemperature(); }

private:
    ICoolingBoard& mFans;
    std::array<std::unique_ptr<NFpga::CDieTemperature>, kThermalZones>
        mSensors; // by zone; reading changes them
};
