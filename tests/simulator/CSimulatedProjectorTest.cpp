// From the interfaces of the boards through every transport to the boards themselves, and back.
#include "simulator/CSimulatedProjector.h"

#include "software/bp/rtl/fpga/NReferenceDesign.h"
#include "tests/support/CRecordingLog.h"
#include "tests/support/CSteppingClock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>

using namespace std::chrono_literals;

namespace
{
class SimulatedProjector : public testing::TestWithParam<EPtTransport>
{
protected:
    std::uint32_t ReadWord(const NFpga::SPlace& place, std::uint32_t offset)
    {
        return mProjector.GetFpga().Read(place.mPage, place.mOffset + offset);
    }

    CRecordingLog mLog;
    CSteppingClock mClock{100000};
    CSimulatedProjector mProjector{GetParam(), mClock, mLog};
    IProjectorBoard& mBoard = mProjector.GetHardware().mBoard;
    ICoolingBoard& mCooling = mProjector.GetHardware().mCooling;
};
} // namespace

INSTANTIATE_TEST_SUITE_P(Transports, SimulatedProjector,
                         testing::Values(EPtTransport::Local, EPtTransport::Pcie, EPtTransport::Spi));

TEST_P(SimulatedProjector, IsDrivenThroughItsRegisters)
{
    namespace Design = NFpga::NReferenceDesign;
    const CSimulatedBoard& behind = mProjector.GetBoard();
    EXPECT_TRUE(mBoard.SetPower(true));
    EXPECT_EQ(ReadWord(Design::kStatusLed, 0), unsigned{NFpga::ILedTriColor::eGreen});
    EXPECT_TRUE(mBoard.SetShutter(true));
    EXPECT_EQ(ReadWord(Design::kStatusLed, 0), unsigned{NFpga::ILedTriColor::eYellow});
    EXPECT_TRUE(mBoard.SetLightOutput(0.735));
    EXPECT_TRUE(mBoard.SelectSource(4));
    EXPECT_TRUE(mBoard.SetPicture(EPictureSetting::Brightness, -20));
    EXPECT_TRUE(mBoard.SetPicture(EPictureSetting::Freeze, 1));
    EXPECT_TRUE(mBoard.ShowTestPattern(1));
    EXPECT_TRUE(behind.IsOn());
    EXPECT_TRUE(behind.IsShutterClosed());
    EXPECT_DOUBLE_EQ(behind.GetLightOutput(), 0.735);
    EXPECT_EQ(behind.GetSource(), 4);
    EXPECT_EQ(behind.GetPicture(EPictureSetting::Brightness), -20);
    EXPECT_EQ(behind.GetPicture(EPictureSetting::Freeze), 1);
    EXPECT_EQ(behind.GetTestPattern(), 1);
    EXPECT_EQ(ReadWord(Design::kTestPattern, 0), 1u);

    for (const double bad : {-0.01, 1.01, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_FALSE(mBoard.SetLightOutput(bad));
    EXPECT_FALSE(mBoard.ShowTestPattern(5));
    EXPECT_FALSE(mBoard.ShowTestPattern(-1));
    EXPECT_EQ(behind.GetTestPattern(), 1);

    EXPECT_TRUE(mBoard.SetShutter(false));
    mProjector.Advance(600s);
    for (const EThermalZone zone : {EThermalZone::Die, EThermalZone::LightSource, EThermalZone::PowerSupply})
    {
        EXPECT_GT(behind.GetTemperature(zone), 40.0);
        EXPECT_NEAR(mCooling.GetTemperature(zone), std::min(behind.GetTemperature(zone), 230.7), 0.062);
    }
    mCooling.SetFanDemand(EThermalZone::Die, 1.0);
    mProjector.Advance(60s);
    EXPECT_NEAR(mCooling.GetFanSpeed(EThermalZone::Die), 4000.0, 1.0);
}

TEST(SimulatedProjectorFailures, ABusThatFailsRefusesIsLoggedOnceAndRecovers)
{
    CRecordingLog log;
    CSteppingClock clock(100000);
    CSimulatedProjector projector(EPtTransport::Pcie, clock, log);
    const SProjectorHardware hardware = projector.GetHardware();
    ASSERT_TRUE(hardware.mBoard.SetPower(true));

    projector.GetBuses().GetPcieDevice().SetMode(CSimulatedPcieDevice::EMode::Gone);
    EXPECT_FALSE(hardware.mBoard.SetPower(false));
    EXPECT_FALSE(hardware.mBoard.SetLightOutput(0.5));
    EXPECT_TRUE(std::isnan(hardware.mCooling.GetTemperature(EThermalZone::Die)));
    EXPECT_EQ(log.GetLines().size(), 1u);

    projector.GetBuses().GetPcieDevice().SetMode(CSimulatedPcieDevice::EMode::Normal);
    EXPECT_TRUE(hardware.mBoard.SetShutter(true));
    EXPECT_TRUE(projector.GetBoard().IsOn()); // what was refused has not come along with it
    EXPECT_NEAR(hardware.mCooling.GetTemperature(EThermalZone::Die), 25.0, 0.062);
}
