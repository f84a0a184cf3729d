// A lens axis arrives, in its own time, and never leaves its travel.
#include "simulator/CSimulatedLensMotor.h"

#include "software/utility/CException.h"

#include <gtest/gtest.h>

#include <chrono>
#include <climits>

using namespace std::chrono_literals;

TEST(SimulatedLensMotor, ArrivesAtItsSpeed)
{
    CSimulatedLensMotor motor({-4500, 4500}, 1500.0);
    EXPECT_TRUE(motor.MoveTo(3000));
    EXPECT_EQ(motor.GetPosition(), 0);
    motor.Advance(1s);
    EXPECT_EQ(motor.GetPosition(), 1500);
    EXPECT_TRUE(motor.MoveTo(1000)); // the new target replaces the one on the way
    motor.Advance(10s);
    EXPECT_EQ(motor.GetPosition(), 1000);
    EXPECT_TRUE(motor.Home());
    motor.Advance(10s);
    EXPECT_EQ(motor.GetPosition(), 0);
}

TEST(SimulatedLensMotor, NeverPassesItsEndStops)
{
    CSimulatedLensMotor motor({-400, 700}, 333.0);
    for (const int target : {INT_MAX, INT_MIN, 701, -401})
    {
        SCOPED_TRACE(target);
        motor.MoveTo(target);
        for (int i = 0; i < 1000; ++i)
        {
            motor.Advance(7ms);
            ASSERT_GE(motor.GetPosition(), -400);
            ASSERT_LE(motor.GetPosition(), 700);
        }
        EXPECT_EQ(motor.GetPosition(), target > 0 ? 700 : -400);
    }
}

TEST(SimulatedLensMotor, AnyStepsOfTheSameTimeEndAtTheSamePlace)
{
    CSimulatedLensMotor oneStep({-5000, 5000}, 777.0);
    CSimulatedLensMotor manySteps({-5000, 5000}, 777.0);
    oneStep.MoveTo(-4000);
    manySteps.MoveTo(-4000);
    oneStep.Advance(3s);
    for (int i = 0; i < 3000; ++i)
        manySteps.Advance(1ms);
    EXPECT_EQ(oneStep.GetPosition(), -2331);
    EXPECT_EQ(manySteps.GetPosition(), -2331);
}

TEST(SimulatedLensMotor, RefusesWhatCannotMove)
{
    EXPECT_THROW(CSimulatedLensMotor({1, 10}, 100.0), CException);
    EXPECT_THROW(CSimulatedLensMotor({-10, -1}, 100.0), CException);
    EXPECT_THROW(CSimulatedLensMotor({-10, 10}, 0.0), CException);
}
