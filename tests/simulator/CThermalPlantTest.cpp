// The physics of fan and heat: it settles where the balance is, whatever the steps.
#include "simulator/CThermalPlant.h"

#include "simulator/CSimulatedFan.h"
#include "software/utility/CException.h"

#include <gtest/gtest.h>

#include <chrono>
#include <limits>

using namespace std::chrono_literals;

namespace
{
// The temperature where 600 W leave as fast as they come, at the speed the fan has.
double BalanceAt600W(const CSimulatedFan& fan)
{
    return CThermalPlant::kAmbient + 600.0 / (4.0 + 0.012 * fan.GetSpeed());
}
} // namespace

TEST(SimulatedFan, FollowsItsDemandWithALag)
{
    CSimulatedFan fan(4000.0);
    fan.SetDemand(0.5);
    EXPECT_EQ(fan.GetSpeed(), 0.0);
    fan.Advance(1500ms); // one time constant
    EXPECT_NEAR(fan.GetSpeed(), 2000.0 * 0.632, 2.0);
    fan.Advance(1h);
    EXPECT_NEAR(fan.GetSpeed(), 2000.0, 1e-6);
}

TEST(SimulatedFan, DemandsOutsideTheRangeAreCut)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::pair<double, double> cases[] = {{-1.0, 0.0}, {7.0, 4000.0}, {nan, 4000.0}};
    for (const auto& [demand, speed] : cases)
    {
        SCOPED_TRACE(demand);
        CSimulatedFan fan(4000.0);
        fan.SetDemand(demand);
        fan.Advance(1h);
        EXPECT_NEAR(fan.GetSpeed(), speed, 1e-6);
    }
}

TEST(ThermalPlant, SettlesWhereHeatAndCoolingBalance)
{
    CSimulatedFan fan(4000.0);
    CThermalPlant plant(800.0, fan);
    plant.SetHeat(600.0);
    for (const double demand : {1.0, 0.0, 0.3})
    {
        SCOPED_TRACE(demand);
        fan.SetDemand(demand);
        fan.Advance(1h);
        plant.Advance(1h);
        EXPECT_NEAR(plant.GetTemperature(), BalanceAt600W(fan), 1e-3);
    }
    plant.SetHeat(0.0);
    plant.Advance(24h);
    EXPECT_NEAR(plant.GetTemperature(), CThermalPlant::kAmbient, 1e-6);
}

TEST(ThermalPlant, AnyStepsOfTheSameTimeEndAtTheSameTemperature)
{
    CSimulatedFan fan(4000.0);
    fan.SetDemand(0.4);
    fan.Advance(1h);
    CThermalPlant oneStep(800.0, fan);
    CThermalPlant manySteps(800.0, fan);
    oneStep.SetHeat(600.0);
    manySteps.SetHeat(600.0);
    oneStep.Advance(20s);
    for (int i = 0; i < 1000; ++i)
        manySteps.Advance(20ms);
    EXPECT_NEAR(oneStep.GetTemperature(), manySteps.GetTemperature(), 1e-9);
    EXPECT_LT(oneStep.GetTemperature(),
              BalanceAt600W(fan)); // still on its way: the comparison says something
}

TEST(ThermalPlant, RefusesWhatIsNotPhysical)
{
    CSimulatedFan fan(4000.0);
    for (const double bad : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()})
    {
        SCOPED_TRACE(bad);
        EXPECT_THROW(CThermalPlant(bad, fan), CException);
        EXPECT_THROW(CSimulatedFan{bad}, CException);
    }
}
