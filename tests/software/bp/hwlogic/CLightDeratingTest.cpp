// Light goes down with heat and comes back, by steps, and the user's choice is respected.
#include "software/bp/hwlogic/CLightDerating.h"

#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"
#include "tests/support/CRecordingLog.h"
#include "tests/support/CRecordingProxy.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{
class LightDerating : public testing::Test
{
protected:
    void Step(double celsius, int times = 1)
    {
        mCelsius = celsius;
        for (int i = 0; i < times; ++i)
            mDerating.Advance(CLightDerating::kStepPeriod);
    }

    CRecordingLog mLog;
    CEventDispatcher mDispatcher{mLog};
    CRecordingProxy mProxy;
    CProjCon mLight{eDisplaySoftValue, mDispatcher, mProxy, "LUM", true, 0, 1000, 1000,
                    eAccessOperator,   1,           2,      1,     false};
    double mCelsius = 25.0;
    CLightDerating mDerating{mDispatcher, "LUM", [this] { return mCelsius; }, mLog};
};
} // namespace

TEST_F(LightDerating, ComesDownByStepsAboveTheLimitAndReachesTheHardware)
{
    Step(70.0);
    EXPECT_EQ(mLight.GetValue(), 1000);
    Step(70.1);
    EXPECT_EQ(mLight.GetSoftMaxValue(), 950);
    EXPECT_TRUE(mLight.IsSoftMaxActive());
    EXPECT_EQ(mProxy.Take(), std::vector<std::string>{"LUM=950"});
    mDerating.Advance(CLightDerating::kStepPeriod / 2); // too early for another step
    EXPECT_EQ(mLight.GetSoftMaxValue(), 950);
    Step(90.0, 100);
    EXPECT_EQ(mLight.GetSoftMaxValue(), 200); // never dark
}

TEST_F(LightDerating, HoldsBetweenTheThresholdsAndComesBackBelow)
{
    Step(80.0, 3);
    ASSERT_EQ(mLight.GetValue(), 850);
    Step(69.0, 10);
    Step(65.0, 10);
    EXPECT_EQ(mLight.GetValue(), 850);
    Step(64.9);
    EXPECT_EQ(mLight.GetValue(), 900);
    Step(30.0, 10);
    EXPECT_EQ(mLight.GetValue(), 1000);
    EXPECT_FALSE(mLight.IsSoftMaxActive());
}

TEST_F(LightDerating, ALowerOutputThatSomebodyChoseIsNotRaised)
{
    Step(80.0, 3);
    mLight.SetValue(500);
    Step(30.0, 20);
    EXPECT_EQ(mLight.GetValue(), 500);
    EXPECT_EQ(mLight.GetSoftMaxValue(), 1000);

    Step(80.0, 3);
    mLight.SetValue(400);
    Step(80.0, 20); // and this one is cut in its turn
    ASSERT_EQ(mLight.GetValue(), 200);
    Step(30.0, 30);
    EXPECT_EQ(mLight.GetValue(), 400);
}

TEST_F(LightDerating, ALockedControlIsDeratedAllTheSame)
{
    mLight.SetLocked(true);
    Step(80.0);
    EXPECT_EQ(mLight.GetValue(), 950);
    Step(30.0);
    EXPECT_EQ(mLight.GetValue(), 1000);
}

TEST_F(LightDerating, ASilentSensorLeavesTheLightAlone)
{
    Step(80.0);
    Step(std::nan(""), 20);
    EXPECT_EQ(mLight.GetSoftMaxValue(), 950);
}
