// From samples to degrees.
#include "software/bp/rtl/fpga/sensors/CDieTemperature.h"

#include "tests/support/CRecordingBus.h"

#include <gtest/gtest.h>

#include <vector>

TEST(DieTemperature, FollowsTheFormulaOfItsSensor)
{
    struct SCase
    {
        const char* mName;
        std::uint32_t mSample;
        std::uint32_t mShift;
        bool mSecond;
        double mCelsius;
        int mWhole;
    };
    const SCase cases[] = {
        {"first formula", 2636, 0, false, 2636 * 503.975 / 4096 - 273.15, 51},
        {"second formula", 2636, 0, true, 2636 * 501.3743 / 4096 - 273.6777, 48},
        {"masked before it is shifted", 0xFFFFF8A4, 2, false, 0x8A4 / 4 * 503.975 / 4096 - 273.15, -205},
        {"coldest", 0, 0, false, -273.15, -273},
        {"hottest", 0xFFF, 0, true, 0xFFF * 501.3743 / 4096 - 273.6777, 227},
        {"cut towards zero", 2215, 0, false, 2215 * 503.975 / 4096 - 273.15, 0}, // -0.62
    };
    for (const SCase& test : cases)
    {
        SCOPED_TRACE(test.mName);
        CRecordingBus bus;
        bus.mReply = {test.mSample};
        NFpga::CDieTemperature sensor(bus, 3, 0x40, 0x10, test.mShift, test.mSecond);
        EXPECT_DOUBLE_EQ(sensor.ReadTemperatureHiPrecision(), test.mCelsius);
        EXPECT_EQ(sensor.ReadTemperature(), test.mWhole);
        EXPECT_EQ(bus.Take().front(), "Request c3 @40 x0 inc <1 10ms");
    }
}

TEST(DieTemperature, KeepsItsOverride)
{
    CRecordingBus bus;
    CPtRegisterBank parent(bus, 3, 0, 0x100);
    NFpga::CDieTemperature sensor(parent, 0x40, 0x10, 0, false);
    int a = 9;
    int b = 9;
    int c = 9;
    int d = 9;
    EXPECT_FALSE(sensor.GetOverridenTemperatureProperties(a, b, c, d));
    EXPECT_EQ(a + b + c + d, 36);
    sensor.OverrideTemperatureProperties(1, -2, 3, -4);
    EXPECT_TRUE(sensor.GetOverridenTemperatureProperties(a, b, c, d));
    EXPECT_EQ(std::vector<int>({a, b, c, d}), std::vector<int>({1, -2, 3, -4}));
}
