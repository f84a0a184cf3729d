// Power and light are what heats the board.
#include "simulator/CSimulatedBoard.h"

#include <gtest/gtest.h>

#include <chrono>
#include <limits>

using namespace std::chrono_literals;

namespace
{
constexpr EThermalZone kZones[] = {EThermalZone::Die, EThermalZone::LightSource, EThermalZone::PowerSupply};
}

TEST(SimulatedBoard, HeatsUpByPowerAndLightAndCoolsDownByItsFans)
{
    CSimulatedBoard board;
    for (const EThermalZone zone : kZones)
    {
        board.SetFanDemand(zone, 0.5);
        EXPECT_EQ(board.GetTemperature(zone), CThermalPlant::kAmbient);
    }
    board.SetLightOutput(1.0);
    board.Advance(1h);
    EXPECT_NEAR(board.GetTemperature(EThermalZone::Die), CThermalPlant::kAmbient, 1e-6); // it is off

    board.SetPower(true);
    board.SetLightOutput(0.0);
    board.Advance(1h);
    const double idle = board.GetTemperature(EThermalZone::Die);
    EXPECT_GT(idle, CThermalPlant::kAmbient + 1.0);

    board.SetLightOutput(1.0);
    board.Advance(1h);
    const double bright = board.GetTemperature(EThermalZone::Die);
    EXPECT_GT(bright, idle + 10.0);

    board.SetFanDemand(EThermalZone::Die, 1.0);
    board.Advance(1h);
    EXPECT_LT(board.GetTemperature(EThermalZone::Die), bright - 5.0);

    board.SetPower(false);
    board.Advance(24h);
    for (const EThermalZone zone : kZones)
        EXPECT_NEAR(board.GetTemperature(zone), CThermalPlant::kAmbient, 1e-6);
}

TEST(SimulatedBoard, RefusesLightOutsideItsRange)
{
    CSimulatedBoard board;
    EXPECT_TRUE(board.SetLightOutput(0.7));
    for (const double bad : {-0.01, 1.01, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_FALSE(board.SetLightOutput(bad));
    EXPECT_EQ(board.GetLightOutput(), 0.7);
}
