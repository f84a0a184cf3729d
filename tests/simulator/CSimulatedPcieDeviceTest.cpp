// The device that stands in for the real one: what it takes, and what it must not let pass.
#include "simulator/CSimulatedPcieDevice.h"

#include "simulator/CSimulatedFpga.h"
#include "software/bp/rtl/CPtBusPcieDma.h"
#include "software/bp/rtl/NPcieDriver.h"
#include "tests/support/CManualClock.h"
#include "tests/support/CSteppingClock.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace
{
std::uint64_t ToAddress(const void* pointer)
{
    return reinterpret_cast<std::uintptr_t>(pointer);
}
} // namespace

TEST(SimulatedPcieDevice, ServesDmaAndVerticalSyncs)
{
    CSteppingClock clock(100000);
    CSimulatedFpga fpga(clock);
    CSimulatedPcieDevice device(fpga);
    CPtBusPcieDma bus(device, clock);
    bus.Initialize();
    EXPECT_TRUE(device.IsDmaEnabled());
    const std::uint8_t data[] = {1, 0, 0, 0, 2, 0, 0, 0};
    bus.DmaSend(3, 0x40, data, 8, false, nullptr, 0, 0);
    EXPECT_EQ(fpga.Read(3, 0x40), 2u);
    device.SetDmaStatus(0x00010000);
    EXPECT_FALSE(bus.IsDmaReady());
    bus.DmaReset();
    EXPECT_EQ(device.GetDmaResets(), 1u);
    bus.Reset();
    EXPECT_FALSE(device.IsDmaEnabled());

    fpga.SetVsync(0xFFFE);
    EXPECT_EQ(bus.WaitOnVsync(4, 500, true), 0xFFFE);
    EXPECT_EQ(fpga.GetVsync(), 2);
}

TEST(SimulatedPcieDevice, RefusesRecordsThatAreNotRight)
{
    const CManualClock clock(1000);
    CSimulatedFpga fpga(clock);
    CSimulatedPcieDevice device(fpga);
    const std::uint32_t words[2] = {7, 8};
    const std::uint64_t payload = ToAddress(words);
    const std::uint64_t write = 0x0C10'0000'0004'0009; // channel 3, address 0x10, 4 bytes
    struct SCase
    {
        const char* mName;
        NPcieDriver::SSend mRecord;
        int mError; // 0: taken
    };
    const SCase cases[] = {
        {"right", {4, 0, write, payload}, 0},
        {"reserved bytes", {4, 1, write, payload}, EINVAL},
        {"another count than in the header", {8, 0, write, payload}, EINVAL},
        {"no payload", {4, 0, write, 0}, EINVAL},
        {"a payload without bytes", {0, 0, 0x0C10'0000'0000'0009, payload}, EINVAL},
        {"a read, which is not sent", {0, 0, 0x0010'0000'0004'0C0B, 0}, EINVAL},
        {"runs off its page", {8, 0, 0x0FFC'0000'0008'0089, payload}, EIO},
    };
    for (const SCase& test : cases)
    {
        SCOPED_TRACE(test.mName);
        NPcieDriver::SSend record = test.mRecord;
        errno = 0;
        EXPECT_EQ(device.Ioctl(NPcieDriver::kSend, &record), test.mError == 0 ? 0 : -1);
        EXPECT_EQ(errno, test.mError);
    }
    EXPECT_EQ(fpga.Read(3, 0x10), 7u);

    std::uint32_t word = 0;
    NPcieDriver::SReceive unasked{4, 0, 0x0C10'0004'0000'008A, 0, ToAddress(&word)};
    EXPECT_EQ(device.Ioctl(NPcieDriver::kReceive, &unasked), -1); // no request was sent
    EXPECT_EQ(device.Ioctl(0x40085A07, &word), -1);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(device.Ioctl(NPcieDriver::kSend, nullptr), -1);
}
