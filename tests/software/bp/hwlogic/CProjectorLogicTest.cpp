// Controls, logic and simulated boards together: what a set does to the hardware, and what comes back.
#include "software/bp/hwlogic/CProjectorLogic.h"

#include "apps/lanternd/NThermalFile.h"

#include "simulator/CSimulatedBoard.h"
#include "simulator/CSimulatedLensMotor.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"
#include "software/bp/status/CStatusDb.h"
#include "software/include/EError.h"
#include "software/utility/CJobScheduler.h"
#include "tests/support/CManualClock.h"
#include "tests/support/CRecordingLog.h"
#include "tests/support/CRecordingNotifier.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <vector>

using namespace std::chrono_literals;

namespace
{
class CRefusingMotor : public ILensMotor
{
public:
    SLensTravel GetTravel() const override { return {-100, 100}; }
    int GetPosition() const override { return 0; }
    bool MoveTo(int) override { return false; }
    bool Home() override { return false; }
};

class ProjectorLogic : public testing::Test
{
protected:
    ProjectorLogic()
    {
        mDispatcher.SetControlNotifier(&mNotifier);
        mLogic.ConfigureThermal(NThermalFile::Load(LANTERN_TEST_CONFIG_DIR "/thermal.json"));
        mLogic.RegisterJobs(mScheduler, mClock);
    }

    CProjCon& AddInteger(const char* code, int minimum, int maximum, unsigned char decimals = 0,
                         bool readOnly = false)
    {
        mControls.push_back(std::make_unique<CProjCon>(eDisplaySoftValue, mDispatcher, mLogic.GetProxy(code),
                                                       code, true, minimum, maximum, 0, eAccessOperator, 1, 2,
                                                       decimals, readOnly));
        return Listened();
    }
    CProjCon& AddBoolean(const char* code)
    {
        mControls.push_back(std::make_unique<CProjCon>(eDisplayBoolean, mDispatcher, mLogic.GetProxy(code),
                                                       code, true, false, eAccessOperator, 1, 2, false));
        return Listened();
    }
    CProjCon& AddText(EDisplayType type, const char* code, const char* initial)
    {
        mControls.push_back(std::make_unique<CProjCon>(type, mDispatcher, mLogic.GetProxy(code), code, true,
                                                       0, 32, initial, eAccessOperator, 1, 2, false));
        return Listened();
    }
    CProjCon& Listened()
    {
        CProjCon& control = *mControls.back();
        mDispatcher.GetNotificationManager().NotifyRegister(control.GetCode(), "JSON_TCP.1");
        return control;
    }

    void Advance(std::chrono::milliseconds time)
    {
        for (; time > 0ms; time -= 20ms)
        {
            mBoard.Advance(20ms);
            for (CSimulatedLensMotor& motor : mMotors)
                motor.Advance(20ms);
            Pass(20ms);
        }
    }

    void Pass(std::chrono::milliseconds time) // the hardware stands still
    {
        mClock.AdvanceMs(static_cast<std::uint32_t>(time.count()));
        mScheduler.Run();
    }

    CRecordingLog mLog;
    CManualClock mClock{1000000};
    CRecordingNotifier mNotifier;
    CEventDispatcher mDispatcher{mLog};
    CSimulatedBoard mBoard;
    CSimulatedLensMotor mMotors[3]{{{-4500, 4500}, 1500.0}, {{-4000, 4000}, 1500.0}, {{-5000, 5000}, 1000.0}};
    CRefusingMotor mStuckZoom;
    CStatusDb mStatus{mLog};
    CProjectorLogic mLogic{
        mDispatcher, {mBoard, mBoard, {&mMotors[0], &mMotors[1], &mMotors[2], &mStuckZoom}}, mStatus, mLog};
    CJobScheduler mScheduler{mClock, mLog};
    std::vector<std::unique_ptr<CProjCon>> mControls;
};
} // namespace

TEST_F(ProjectorLogic, ControlsOfTheBoardReachIt)
{
    AddBoolean("PWR").SetValue(1);
    AddBoolean("SHT").SetValue(1);
    AddInteger("LUM", 0, 1000, 1).SetValue(735);
    AddInteger("SRC", 0, 10).SetValue(4);
    AddInteger("PAT", 0, 10).SetValue(2);
    AddInteger("BRI", -100, 100).SetValue(-20);
    EXPECT_TRUE(mBoard.IsOn());
    EXPECT_TRUE(mBoard.IsShutterClosed());
    EXPECT_DOUBLE_EQ(mBoard.GetLightOutput(), 0.735);
    EXPECT_EQ(mBoard.GetSource(), 4);
    EXPECT_EQ(mBoard.GetTestPattern(), 2);
    EXPECT_EQ(mBoard.GetPicture(EPictureSetting::Brightness), -20);
}

TEST_F(ProjectorLogic, ALensTargetBeyondTheTravelBecomesItsEnd)
{
    CProjCon& shift = AddInteger("LNH", -5000, 5000);
    CProjCon& position = AddInteger("LPH", -5000, 5000, 0, true);
    EXPECT_EQ(shift.SetValue(5000), eErrorNone);
    EXPECT_EQ(shift.GetValue(), 4500);
    EXPECT_EQ(mNotifier.Take(), std::vector<std::string>{"LNH 1 4500 JSON_TCP.1"}); // once, and not with 5000

    Advance(1s);
    EXPECT_EQ(position.GetValue(), 1500);
    Advance(4s);
    EXPECT_EQ(position.GetValue(), 4500);
    mNotifier.Take();
    Advance(10s);
    EXPECT_TRUE(mNotifier.Take().empty()); // a lens at rest announces nothing
}

TEST_F(ProjectorLogic, ADriveThatRefusesLeavesTheControlAsItWas)
{
    CProjCon& zoom = AddInteger("LNZ", -5000, 5000);
    EXPECT_EQ(zoom.SetValue(50), eErrorHardware);
    EXPECT_EQ(zoom.GetValue(), 0);
}

TEST_F(ProjectorLogic, HomingMovesEveryAxisAndTellsWhenOneRefuses)
{
    CProjCon& shift = AddInteger("LNH", -5000, 5000);
    CProjCon& focus = AddInteger("LNF", -5000, 5000);
    CProjCon home(eDisplayAction, mDispatcher, mLogic.GetProxy("LHM"), "LHM", false, eAccessOperator, 1, 2, 0,
                  false);
    shift.SetValue(1000);
    focus.SetValue(-1000);
    Advance(2s);
    ASSERT_EQ(mMotors[0].GetPosition(), 1000);

    EXPECT_EQ(home.SetValue(1), eErrorHardware); // the zoom is stuck
    EXPECT_EQ(shift.GetValue(), 0);
    EXPECT_EQ(focus.GetValue(), 0);
    Advance(2s);
    EXPECT_EQ(mMotors[0].GetPosition(), 0);
    EXPECT_EQ(mMotors[2].GetPosition(), 0);
}

TEST_F(ProjectorLogic, OnlyDatesAndTimesAreTaken)
{
    CProjCon& date = AddText(eDisplayDate, "DAT", "2026-01-01");
    CProjCon& time = AddText(eDisplayTime, "TIM", "03:00:00");
    EXPECT_EQ(date.SetText("2024-02-29"), eErrorNone);
    EXPECT_EQ(time.SetText("23:59:59"), eErrorNone);
    EXPECT_EQ(date.SetText("2026-02-29"), eErrorHardware);
    EXPECT_EQ(time.SetText("24:00:00"), eErrorHardware);
    EXPECT_EQ(date.GetText(), "2024-02-29");
    EXPECT_EQ(time.GetText(), "23:59:59");
}

TEST_F(ProjectorLogic, AWarmProjectorShowsItsHeatAndComesToRest)
{
    CProjCon& fan = AddInteger("FN1", 0, 10000, 0, true);
    CProjCon& temperature = AddInteger("TP1", -400, 2000, 1, true);
    AddInteger("LUM", 0, 1000, 1).SetValue(1000);
    AddBoolean("PWR").SetValue(1);
    Advance(600s);
    EXPECT_NEAR(temperature.GetValue() / 10.0, mBoard.GetTemperature(EThermalZone::Die), 0.051);
    EXPECT_GT(temperature.GetValue(), 450);
    EXPECT_LT(temperature.GetValue(), 600);
    EXPECT_NEAR(fan.GetValue(), mBoard.GetFanSpeed(EThermalZone::Die), 0.51);
    EXPECT_GT(fan.GetValue(), 2000);

    mNotifier.Take();
    Advance(60s);
    EXPECT_TRUE(mNotifier.Take().empty()); // settled: nothing to announce
}

TEST_F(ProjectorLogic, OnlyThermalModesThatExistAreTaken)
{
    CProjCon& mode = AddInteger("TCM", 0, 100);
    EXPECT_EQ(mode.SetValue(2), eErrorNone);
    EXPECT_EQ(mode.SetValue(3), eErrorHardware);
    EXPECT_EQ(mode.GetValue(), 2);
}

TEST_F(ProjectorLogic, CountsTheHoursItIsOn)
{
    CProjCon& hours = AddInteger("OPH", 0, 1000000, 1, true);
    CProjCon& power = AddBoolean("PWR");
    Pass(1h); // off
    EXPECT_EQ(hours.GetValue(), 0);
    power.SetValue(1);
    Pass(6min - 1ms);
    EXPECT_EQ(hours.GetValue(), 0);
    Pass(1s);
    EXPECT_EQ(hours.GetValue(), 1);
    Pass(60min);
    Pass(30min);
    EXPECT_EQ(hours.GetValue(), 16);
    EXPECT_TRUE(hours.IsDirty());
}

TEST_F(ProjectorLogic, HeatRaisesAnAlarmOnceAndCoolingClearsIt)
{
    CProjCon& light = AddInteger("LUM", 0, 1000, 1);
    light.SetValue(1000);
    AddBoolean("PWR").SetValue(1);
    Advance(300s);
    EXPECT_TRUE(mStatus.GetAlarms().empty());
    mBoard.BlockFan(EThermalZone::Die, true);
    Advance(300s);
    ASSERT_EQ(mStatus.GetAlarms().size(), 2u); // with that of the fan
    EXPECT_EQ(mStatus.GetAlarms()[0].mDescription, "Image device");
    EXPECT_EQ(mStatus.GetAlarms()[0].mStatus, eStatusAlarm);
    EXPECT_LT(light.GetValue(), 1000);              // held down by the heat
    EXPECT_EQ(mLogic.GetLastingValue(light), 1000); // but that is not what somebody chose

    mBoard.BlockFan(EThermalZone::Die, false);
    Advance(300s);
    EXPECT_TRUE(mStatus.GetAlarms().empty());
    EXPECT_EQ(light.GetValue(), 1000);
    const auto& lines = mLog.GetLines();
    const auto raised = std::count_if(lines.begin(), lines.end(),
                                      [](const CRecordingLog::SLine& line)
                                      { return line.mText.find("raises an alarm") != std::string::npos; });
    EXPECT_EQ(raised, 2);
}

TEST_F(ProjectorLogic, WhatDoesNotMoveAsItShouldRaisesAnAlarm)
{
    AddInteger("TCM", 0, 100).SetValue(CFanControl::eModePerformance);
    AddInteger("LUM", 0, 1000, 1).SetValue(1000);
    AddBoolean("PWR").SetValue(1);
    AddInteger("LNH", -5000, 5000).SetValue(4000);
    Advance(60s);
    EXPECT_TRUE(mStatus.GetAlarms().empty());
    EXPECT_EQ(mStatus.GetItem("Lens", 0)->mValue, "4000 steps");

    mBoard.BlockFan(EThermalZone::LightSource, true);
    AddInteger("LNZ", -5000, 5000).SetValue(50, eChangeNoApply); // its drive does nothing
    Advance(2s);
    EXPECT_TRUE(mStatus.GetAlarms().empty()); // each has its time
    Advance(10s);
    const std::vector<SStatus> alarms = mStatus.GetAlarms();
    ASSERT_EQ(alarms.size(), 2u);
    EXPECT_EQ(alarms[0].mGroup + ": " + alarms[0].mDescription, "Fans: Fan of the light source");
    EXPECT_EQ(alarms[1].mValue, "stuck at 0, sent to 50");

    mBoard.BlockFan(EThermalZone::LightSource, false);
    mControls.back()->SetValue(0, eChangeNoApply);
    Advance(60s);
    EXPECT_TRUE(mStatus.GetAlarms().empty());
}

TEST_F(ProjectorLogic, ASensorThatLiesIsNeitherShownNorDimsTheLight)
{
    using EFault = CSimulatedBoard::ESensorFault;
    CProjCon& shown = AddInteger("TP1", -400, 1500, 1, true);
    CProjCon& light = AddInteger("LUM", 0, 1000, 1);
    light.SetValue(1000);
    AddBoolean("PWR").SetValue(1);
    Advance(120s);
    for (const EFault fault : {EFault::Absurd, EFault::Silent})
    {
        const int believed = shown.GetValue();
        mBoard.SetSensorFault(EThermalZone::Die, fault);
        Advance(60s);
        EXPECT_EQ(shown.GetValue(), believed);
        EXPECT_EQ(light.GetValue(), 1000);
        EXPECT_EQ(mStatus.GetItem("Temperature", 0)->mValue, "no reading");
        mBoard.SetSensorFault(EThermalZone::Die, EFault::None);
        Advance(60s);
    }

    mBoard.BlockFan(EThermalZone::Die, true); // until the light comes down, and the sensor stops just then
    while (light.GetValue() == 1000)
        Advance(1s);
    mBoard.SetSensorFault(EThermalZone::Die, EFault::Frozen);
    mBoard.BlockFan(EThermalZone::Die, false);
    Advance(300s);
    EXPECT_GE(light.GetValue(), 850); // what was taken while the reading could still be believed
    EXPECT_TRUE(light.IsSoftMaxActive());
    mBoard.SetSensorFault(EThermalZone::Die, EFault::None);
    Advance(60s);
    EXPECT_EQ(light.GetValue(), 1000);
}
