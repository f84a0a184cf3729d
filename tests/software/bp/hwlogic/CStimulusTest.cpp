// Each stimulus by itself, and their order in a fan's chain.
#include "software/bp/hwlogic/CAmbientTempModalStimulusPidRpm.h"
#include "software/bp/hwlogic/CClosedLoopStimulus.h"
#include "software/bp/hwlogic/CFanManager.h"
#include "software/bp/hwlogic/CLampPwrStimulus.h"
#include "software/bp/hwlogic/CLaserTecStimulus.h"
#include "software/bp/hwlogic/CMinimumStimulus.h"
#include "software/bp/hwlogic/CTempWarningRecoveryStimulus.h"
#include "software/include/IFan.h"
#include "software/utility/CException.h"
#include "tests/support/CRecordingLog.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

namespace
{
constexpr auto kDefault = IThermalMode::eModeDefault;
constexpr auto kQuiet = IThermalMode::eModeQuiet;
constexpr auto kPerformance = IThermalMode::eModePerformance;
const double kMissing = std::nan("");

class CToldFan : public IFan
{
public:
    void SetDemand(double demand) override { mTold.push_back(demand); }
    double GetSpeed() const override { return 0.0; }

    std::vector<double> Take() { return std::exchange(mTold, {}); }

private:
    std::vector<double> mTold;
};
} // namespace

TEST(AmbientTempModalStimulus, ItsCurves)
{
    CRecordingLog log;
    CAmbientTempModalStimulus stimulus(log);
    EXPECT_EQ(stimulus.QuietFunction(20), 1.0); // what nobody has set cools fully
    stimulus.SetCurve(kQuiet, -3, 30);
    stimulus.SetCurve(kPerformance, 45, 130);
    stimulus.SetCurve(static_cast<IThermalMode::ETcmMode>(7), 10, 60);
    EXPECT_EQ(stimulus.QuietFunction(0), 0.3);
    EXPECT_EQ(stimulus.QuietFunction(-3), 0.3);
    EXPECT_EQ(stimulus.PerfFunction(40), 1.0);
    EXPECT_EQ(stimulus.PerfFunction(45), 1.0);
    EXPECT_EQ(stimulus.ModalFunction(10, static_cast<IThermalMode::ETcmMode>(9)), 0.6);

    const SFanCurvePoint points[] = {{30, 90}, {10, 40}, {20, 45}, {50, 1000}};
    stimulus.SetCurve(points, 4, kDefault);
    const std::pair<int, double> expected[] = {{0, 0.40},  {10, 0.40}, {11, 0.41}, {15, 0.43}, {20, 0.45},
                                               {21, 0.50}, {29, 0.86}, {30, 0.90}, {40, 0.95}, {99, 0.95}};
    for (const auto& [celsius, factor] : expected)
        EXPECT_EQ(stimulus.DefaultFunction(celsius), factor) << celsius;
    EXPECT_THROW(stimulus.SetCurve(points, 0, kDefault), CException);
    EXPECT_THROW(stimulus.SetCurve(nullptr, 4, kDefault), CException);

    stimulus.SetAmbient(21);
    EXPECT_EQ(stimulus.ApplyTransformation(80.0), 40.0);
    EXPECT_TRUE(log.Has(ELogLevel::Debug, "at temp = 21, init PWM = 80.000000, return 40.000000"));
}

TEST(AmbientTempModalStimulusPidRpm, AWornFanIsDrivenHarder)
{
    CRecordingLog log;
    CAmbientTempModalStimulusPidRpm stimulus(log);
    stimulus.SetCurve(kDefault, 20, 50);
    stimulus.SetAmbient(20);
    stimulus.AddFan(2, 4000.0, 0.002);
    EXPECT_EQ(stimulus.ApplyTransformation(100.0, 2), 50.0); // its speed is not known yet
    double rpm = 0.0;
    for (int i = 0; i < 200; ++i)
    {
        stimulus.Update(2, rpm);
        rpm = 3000.0 * stimulus.ApplyTransformation(100.0, 2) / 100.0; // reaches three quarters
    }
    EXPECT_NEAR(rpm, 2000.0, 45.0);
    EXPECT_NEAR(stimulus.ApplyTransformation(100.0, 2), 66.7, 1.5);
    stimulus.Update(2, kMissing);
    EXPECT_EQ(stimulus.ApplyTransformation(100.0, 2), 50.0);
}

TEST(Stimulus, FloorsAndFactors)
{
    CMinimumStimulus minimum(20);
    EXPECT_EQ(minimum.GetName(), "MinimumStimulus");
    EXPECT_EQ(minimum.ApplyTransformation(19.5), 20.0);
    EXPECT_EQ(minimum.ApplyTransformation(20.5), 20.5);

    CLampPwrStimulus lamp(400.0, 0.5);
    CLaserTecStimulus tec(30.0, 50.0);
    EXPECT_EQ(lamp.ApplyTransformation(80.0), 80.0); // not known yet
    EXPECT_EQ(tec.ApplyTransformation(80.0), 100.0);
    const std::pair<double, double> watts[] = {{0, 40},   {200, 60}, {400, 80},
                                               {900, 80}, {-5, 40},  {kMissing, 80}};
    for (const auto& [power, demand] : watts)
    {
        lamp.SetPower(power);
        EXPECT_EQ(lamp.ApplyTransformation(80.0), demand) << power;
    }
    const std::pair<double, double> heats[] = {{20, 10},  {30, 10},  {40, 50},
                                               {50, 100}, {90, 100}, {kMissing, 100}};
    for (const auto& [celsius, demand] : heats)
    {
        tec.SetTecTemperature(celsius);
        EXPECT_EQ(tec.ApplyTransformation(10.0), demand) << celsius;
    }
    EXPECT_THROW(CLampPwrStimulus(0.0, 0.5), CException);
    EXPECT_THROW(CLampPwrStimulus(400.0, kMissing), CException);
    EXPECT_THROW(CLaserTecStimulus(50.0, 50.0), CException);
}

TEST(Stimulus, AWarningIsFollowedByAGentleWayBack)
{
    CTempWarningRecoveryStimulus recovery(2, 40.0);
    const std::pair<bool, double> samples[] = {{false, 30}, {true, 100}, {false, 100}, {false, 100},
                                               {false, 60}, {true, 100}, {false, 100}, {false, 100},
                                               {false, 60}, {false, 30}, {false, 30}};
    for (const auto& [warning, demand] : samples)
    {
        recovery.Update(warning);
        EXPECT_EQ(recovery.ApplyTransformation(30.0), demand);
    }
    EXPECT_FALSE(recovery.IsActive());
}

TEST(ClosedLoopStimulus, OnlyNumbersReachItsLoop)
{
    CRecordingLog log;
    CClosedLoopFanControl control(log);
    CClosedLoopStimulus stimulus({4, 50.0, 0.125, 0.0625, 0.0, 0.25}, control, false);
    EXPECT_EQ(stimulus.GetName(), "ClosedLoopStimulus");
    EXPECT_EQ(stimulus.ApplyTransformation(80.0), 80.0); // before the first sample
    stimulus.Update(52.0);
    EXPECT_EQ(stimulus.ApplyTransformation(80.0), 30.0);
    EXPECT_EQ(stimulus.ApplyTransformation(80.0), 30.0); // asking is no sample
    for (const double bad : {kMissing, std::numeric_limits<double>::infinity()})
    {
        stimulus.Update(bad);
        EXPECT_EQ(stimulus.GetCorrectionFactor(), 1.0);
        EXPECT_EQ(control.FindLoop(4)->GetIntegralSum(), 0.0);
    }
    EXPECT_EQ(log.Count("Clearing the closed loop parameters at the index: 4"), 1u); // not at each sample
    stimulus.Update(52.0, kMissing);
    EXPECT_EQ(stimulus.GetCorrectionFactor(), 1.0);
    stimulus.Update(52.0);
    EXPECT_EQ(stimulus.GetCorrectionFactor(), 0.375);

    stimulus.SetPhotonDriveMargin(8);
    stimulus.SetTempRelation(NClosedLoopStimulus::eTargetBelowDriveLimit);
    stimulus.Update(52.0, 70.0);
    EXPECT_EQ(control.FindLoop(4)->GetTarget(), 62.0);
    stimulus.Update(52.0);
    EXPECT_EQ(control.FindLoop(4)->GetTarget(), 62.0);
}

TEST(FanManager, AppliesTheStagesInTheirOrderAndIsSafeBeforeAndAfter)
{
    CRecordingLog log;
    CClosedLoopFanControl control(log);
    CAmbientTempModalStimulus curve(log);
    CClosedLoopStimulus loop({1, 50.0, 0.125, 0.0, 0.0, 0.0}, control, true);
    CMinimumStimulus minimum(20);
    CTempWarningRecoveryStimulus recovery(0, 100.0);
    CToldFan fan;
    using Told = std::vector<double>;
    {
        CFanManager manager(fan, 0, 70.0);
        manager.AddStimulus(recovery, EStimulusStage::Override);
        manager.AddStimulus(minimum, EStimulusStage::Floor); // a factor after it would undercut it
        manager.AddStimulus(loop, EStimulusStage::Correction);
        manager.AddStimulus(curve, EStimulusStage::Curve);
        curve.SetCurve(kDefault, 40, 80);
        EXPECT_EQ(fan.Take(), Told{0.7}); // nothing is applied before the first update
        manager.Update();
        EXPECT_EQ(fan.Take(), Told{0.8});
        loop.Update(54.0); // half; tells the manager by itself
        EXPECT_EQ(fan.Take(), Told{0.4});
        loop.Update(49.5);
        EXPECT_EQ(fan.Take(), Told{0.2});
        recovery.Update(true);
        EXPECT_EQ(fan.Take(), Told{1.0});
    }
    EXPECT_EQ(fan.Take(), Told{0.7});
    recovery.Update(false); // there is nobody to tell any more
    EXPECT_EQ(fan.Take(), Told{});

    class CBroken : public CBaseStimulus
    {
    public:
        CBroken()
            : CBaseStimulus("Broken")
        {
        }
        double ApplyTransformation(double, std::uint16_t) override { return kMissing; }
    } broken;
    CFanManager manager(fan, 0, kMissing);
    manager.AddStimulus(broken, EStimulusStage::Curve);
    manager.Update();
    EXPECT_EQ(fan.Take(), (Told{1.0, 1.0}));
}
