// The thermal control with its shipped configuration, against the simulated heat.
#include "software/bp/hwlogic/CFanControl.h"

#include "apps/lanternd/NThermalFile.h"
#include "simulator/CSimulatedBoard.h"
#include "software/utility/CException.h"
#include "tests/support/CRecordingLog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <functional>
#include <limits>
#include <optional>

using namespace std::chrono_literals;

namespace
{
constexpr EThermalZone kZones[] = {EThermalZone::Die, EThermalZone::LightSource, EThermalZone::PowerSupply};

class FanControl : public testing::Test
{
protected:
    FanControl() { mBoard.SetPower(true); }

    void Configure() { mControl->Configure(mConfig); }

    /// Lets time go by; `look` sees the board after each sample.
    void Advance(
        int seconds, const std::function<void()>& look = [] {})
    {
        for (int i = 0; i < seconds; ++i)
        {
            for (int step = 0; step < 50; ++step)
                mBoard.Advance(20ms);
            mControl->Update();
            look();
        }
    }
    void SetMode(int mode) { EXPECT_TRUE(mControl->ApplyValue("TCM", mode)); }

    CRecordingLog mLog;
    CSimulatedBoard mBoard;
    SThermalConfig mConfig = NThermalFile::Load(LANTERN_TEST_CONFIG_DIR "/thermal.json");
    std::optional<CFanControl> mControl{std::in_place, mBoard, mLog};
};
} // namespace

TEST_F(FanControl, EveryModeSettlesAtItsTargetWithoutOscillation)
{
    Configure();
    for (const int mode : {0, 1, 2})
        for (const EThermalZone zone : kZones)
        {
            SCOPED_TRACE("mode " + std::to_string(mode) + ", zone " + std::to_string(static_cast<int>(zone)));
            SetMode(mode);
            mBoard.SetLightOutput(0.1);
            Advance(600);
            const double target = mConfig.mZones[static_cast<std::size_t>(zone)].mTargets[mode];
            double peak = 0.0;
            int turns = 0; // of the fan, by more than 2 %
            double extreme = mControl->GetDemand(zone);
            int direction = 1;
            mBoard.SetLightOutput(1.0);
            Advance(300,
                    [&]
                    {
                        peak = std::max(peak, mBoard.GetTemperature(zone));
                        const double demand = mControl->GetDemand(zone);
                        if ((demand - extreme) * direction > 0)
                            extreme = demand;
                        else if (std::abs(demand - extreme) > 0.02)
                        {
                            direction = -direction;
                            extreme = demand;
                            ++turns;
                        }
                    });
            EXPECT_LT(peak, target + 9.0);
            EXPECT_LE(turns, 3);
            double lowest = 1.0;
            double highest = 0.0;
            Advance(120,
                    [&]
                    {
                        EXPECT_NEAR(mBoard.GetTemperature(zone), target, 1.2);
                        lowest = std::min(lowest, mControl->GetDemand(zone));
                        highest = std::max(highest, mControl->GetDemand(zone));
                    });
            EXPECT_LT(highest - lowest, 0.06);
        }
}

TEST_F(FanControl, QuietIsSlowerAndWarmer)
{
    Configure();
    mBoard.SetLightOutput(1.0);
    double speeds[3];
    double heats[3];
    for (const int mode : {0, 1, 2})
    {
        SetMode(mode);
        Advance(600);
        speeds[mode] = mBoard.GetFanSpeed(EThermalZone::Die);
        heats[mode] = mBoard.GetTemperature(EThermalZone::Die);
    }
    EXPECT_LT(speeds[1], speeds[0] - 100.0);
    EXPECT_LT(speeds[0], speeds[2] - 100.0);
    EXPECT_GT(heats[1], heats[0] + 1.0);
    EXPECT_GT(heats[0], heats[2] + 1.0);
}

TEST_F(FanControl, AReadingThatMayNotBeBelievedMeansFullSpeed)
{
    using EFault = CSimulatedBoard::ESensorFault;
    Configure();
    mBoard.SetLightOutput(0.1);
    for (const auto& [fault, samples] :
         {std::pair(EFault::Silent, 1), std::pair(EFault::Absurd, 1), std::pair(EFault::Frozen, 4)})
    {
        SCOPED_TRACE(static_cast<int>(fault));
        Advance(300);
        ASSERT_LT(mControl->GetDemand(EThermalZone::Die), 0.5);
        mLog.Clear();
        mBoard.SetSensorFault(EThermalZone::Die, fault);
        Advance(samples - 1);
        EXPECT_LT(mControl->GetDemand(EThermalZone::Die), 0.5);
        Advance(1);
        EXPECT_EQ(mControl->GetDemand(EThermalZone::Die), 1.0);
        EXPECT_TRUE(std::isnan(mControl->GetTemperature(EThermalZone::Die)));
        EXPECT_LT(mControl->GetDemand(EThermalZone::LightSource), 0.5); // only where it matters
        Advance(20);
        EXPECT_EQ(mLog.Count("Clearing the closed loop parameters at the index: 0"), 1u);
        EXPECT_EQ(mControl->GetLoops().FindLoop(0)->GetIntegralSum(), 0.0);
        mBoard.SetSensorFault(EThermalZone::Die, EFault::None);
        Advance(1);
        EXPECT_FALSE(std::isnan(mControl->GetTemperature(EThermalZone::Die)));
    }
}

TEST_F(FanControl, FansRunAtTheirSafeSpeedWithoutAConfigurationAndAfterTheEnd)
{
    const auto speeds = [&](double part)
    {
        mBoard.Advance(1min);
        const double full[] = {4000.0, 3600.0, 3000.0};
        for (const EThermalZone zone : kZones)
            EXPECT_NEAR(mBoard.GetFanSpeed(zone), part * full[static_cast<int>(zone)], 1.0);
    };
    SetMode(2);
    Advance(10);
    speeds(0.7);
    Configure();
    Advance(100);
    speeds(0.2);
    mControl.reset();
    speeds(0.7);
}

TEST_F(FanControl, AConfigurationThatDoesNotCoolIsRefused)
{
    const std::pair<const char*, std::function<void(SThermalZoneConfig&)>> cases[] = {
        {"the sensor's range is empty",
         [](auto& zone) {
             zone.mRange = {50.0, 50.0};
         }},
        {"a target is not between the sensor's lowest temperature and the warning",
         [](auto& zone) { zone.mTargets[1] = zone.mWarning; }},
        {"a target is not between the sensor's lowest temperature and the warning",
         [](auto& zone) { zone.mTargets[2] = std::nan(""); }},
        {"the warning is outside the sensor's range", [](auto& zone) { zone.mWarning = 126.0; }},
        {"a coefficient is below 0", [](auto& zone) { zone.mI = -0.001; }},
        {"the minimum correction is not from 0 to 1", [](auto& zone) { zone.mMinimumCorrection = 1.01; }},
        {"the least demand is not above 0 and up to 100 percent",
         [](auto& zone) { zone.mMinimumDemand = 0; }},
    };
    for (const auto& [reason, spoil] : cases)
    {
        SThermalConfig config = mConfig;
        spoil(config.mZones[0]);
        try
        {
            mControl->Configure(config);
            ADD_FAILURE() << reason;
        }
        catch (const CException& error)
        {
            EXPECT_EQ(error.GetMessage(), std::string("Thermal zone 0: ") + reason);
        }
    }
    Configure();
}
