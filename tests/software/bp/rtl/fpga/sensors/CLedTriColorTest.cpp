// A colour is one write.
#include "software/bp/rtl/fpga/sensors/CLedTriColor.h"

#include "tests/support/CRecordingBus.h"

#include <gtest/gtest.h>

TEST(LedTriColor, ChangesAllLightsAtOnce)
{
    CRecordingBus bus;
    NFpga::CLedTriColor led(bus, 0, 0x100, 0x10);
    led.SetColor(NFpga::ILedTriColor::eYellow);
    led.SetColor(NFpga::ILedTriColor::eBlue);
    led.SetColor(NFpga::ILedTriColor::eOff);
    EXPECT_EQ(bus.Take(), (std::vector<std::string>{"Request c0 @100 x1 fixed =3 <0 10ms",
                                                    "Request c0 @100 x1 fixed =4 <0 10ms",
                                                    "Request c0 @100 x1 fixed =0 <0 10ms"}));
}
