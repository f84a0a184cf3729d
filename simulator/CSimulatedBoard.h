// The main board of the simulated projector, with its heat and its fans.
#pragma once

#include "simulator/CSimulatedFan.h"
#include "simulator/CThermalPlant.h"
#include "software/bp/hwlogic/ICoolingBoard.h"
#include "software/bp/hwlogic/IProjectorBoard.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <map>

/// Does what it is told and remembers it. Power and light heat three zones, each with a fan of its own. Used
/// from one thread only; it takes no locks.
class CSimulatedBoard : public IProjectorBoard, public ICoolingBoard
{
public:
    CSimulatedBoard();
    CSimulatedBoard(const CSimulatedBoard&) = delete; // the zones refer to each other
    CSimulatedBoard& operator=(const CSimulatedBoard&) = delete;

    bool SetPower(bool on) override;
    bool SetShutter(bool closed) override;
    bool SetLightOutput(double fraction) override; ///< false outside 0 to 1
    bool SelectSource(int source) override;
    bool ShowTestPattern(int pattern) override;
    bool SetPicture(EPictureSetting setting, int value) override;

    double GetTemperature(EThermalZone zone) const override;
    double GetFanSpeed(EThermalZone zone) const override;
    void SetFanDemand(EThermalZone zone, double demand) override;
    std::uint32_t GetSampleCount(EThermalZone zone) const override;
    double GetAmbientTemperature() const override; ///< always `CThermalPlant::kAmbient`

    /// Something stops the fan, or no longer does.
    void BlockFan(EThermalZone zone, bool blocked) noexcept { ZoneAt(zone).mFan.SetBlocked(blocked); }

    /// How a sensor fails from now on.
    enum class ESensorFault
    {
        None,
        Silent, ///< gives no number
        Absurd, ///< gives 300 °C
        Frozen, ///< gives what it measured last, for ever
    };
    void SetSensorFault(EThermalZone zone, ESensorFault fault) noexcept;

    /// What it was told last.
    bool IsOn() const noexcept { return mIsOn; }
    bool IsShutterClosed() const noexcept { return mIsShutterClosed; }
    double GetLightOutput() const noexcept { return mLightOutput; } ///< 0 to 1
    int GetSource() const noexcept { return mSource; }
    int GetTestPattern() const noexcept { return mTestPattern; }
    int GetPicture(EPictureSetting setting) const; ///< 0 when it was never told

    void
    Advance(std::chrono::milliseconds step) noexcept; ///< moves heat and fans forward by any length of time

private:
    struct SZone
    {
        SZone(double fullSpeed, double heatCapacity);
        SZone(const SZone&) = delete; // the plant would go on referring to the other's fan
        SZone& operator=(const SZone&) = delete;

        CSimulatedFan mFan;
        CThermalPlant mPlant; // refers to the fan
        ESensorFault mFault = ESensorFault::None;
        double mMeasured; // °C, at the last sample
        std::uint32_t mSamples = 0;
    };

    SZone& ZoneAt(EThermalZone zone) noexcept { return mZones[static_cast<std::size_t>(zone)]; }
    const SZone& ZoneAt(EThermalZone zone) const noexcept { return mZones[static_cast<std::size_t>(zone)]; }
    void UpdateHeat() noexcept;

    std::array<SZone, kThermalZones> mZones;
    bool mIsOn = false;
    bool mIsShutterClosed = false;
    double mLightOutput = 0.0;
    int mSource = 0;
    int mTestPattern = 0;
    std::map<EPictureSetting, int> mPicture;
};
