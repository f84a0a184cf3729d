// The same registers over mapped memory, PCIe and SPI: whoever uses them cannot tell which.
#include "simulator/CSimulatedAxi4lMaster.h"
#include "simulator/CSimulatedBuses.h"
#include "simulator/CSimulatedEeprom.h"
#include "simulator/CSimulatedFpga.h"
#include "simulator/CSimulatedI2cMaster.h"
#include "simulator/CSimulatedSpiMaster.h"
#include "software/bp/rtl/CAxi4lPtBus.h"
#include "software/bp/rtl/CI2cPtBus.h"
#include "software/bp/rtl/CSpiPtBus.h"
#include "tests/support/CAllocationCount.h"
#include "tests/support/CSteppingClock.h"
#include "tests/support/MessageOf.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <functional>
#include <numeric>
#include <string>
#include <vector>

namespace
{
using EMode = CSimulatedBusy::EMode;

std::string NameOf(const testing::TestParamInfo<EPtTransport>& info)
{
    constexpr const char* kNames[] = {"Local", "Pcie", "Spi"};
    return kNames[static_cast<std::size_t>(info.param)];
}

class Transports : public testing::TestWithParam<EPtTransport>
{
protected:
    Transports()
    {
        mFpga.Attach({kPage, 0x40, 0x10}, mAxi4l);
        mFpga.Attach({kPage, 0x80, 0x10}, mSpi);
        mFpga.Attach({kPage, 0xC0, 0x10}, mI2c);
        mI2c.AddChip(0x50, mEeprom.GetI2cChip());
    }

    static constexpr std::uint8_t kPage = 5;

    CSteppingClock mClock{100000}; // 10 us a look
    CSimulatedFpga mFpga{mClock};
    CSimulatedBuses mBuses{GetParam(), mFpga, mClock};
    IPtBus& mBus = mBuses.GetBus(kPage);
    CSimulatedEeprom mEeprom{{1024, 32, 1}, mClock};
    CSimulatedAxi4lMaster mAxi4l;
    CSimulatedSpiMaster mSpi{mEeprom.GetSpiChip()};
    CSimulatedI2cMaster mI2c;
};
} // namespace

INSTANTIATE_TEST_SUITE_P(All, Transports,
                         testing::Values(EPtTransport::Local, EPtTransport::Pcie, EPtTransport::Spi), NameOf);

TEST_P(Transports, RegistersHoldWhatIsWrittenWithoutAnAllocation)
{
    CPtRegisterBank bank(mBus, kPage, 0x100, 0x80);
    CPtMemoryPort port(bank, 0x70);
    std::array<std::uint32_t, 32> words{};
    std::iota(words.begin(), words.end(), 0x1000u);
    std::array<std::uint32_t, 32> read{};
    std::array<std::uint32_t, 300> table{};
    std::iota(table.begin(), table.end(), 1u);

    const CAllocationCount allocations;
    bank.WriteDataWait(words.data(), 0, 0x70, 10);
    bank.WriteField(0x08, 0x5, 4, 0xF0);
    bank.WriteFieldWait(0x0C, 0xFFFF, 16, 0xFFFF0000);
    bank.ReadData(read.data(), 0, 0x70, 10);
    port.Write(table.data(), 300, 10);
    bank.Flush(10);
    EXPECT_EQ(bank.ReadField(0x70, 0, 0xFFFFFFFF), 300u); // a plain register keeps the last word
    EXPECT_EQ(allocations.Get(), 0u);

    words[2] = 0x1052;
    words[3] = 0xFFFF1003;
    words[28] = words[29] = words[30] = words[31] = 0;
    EXPECT_EQ(read, words);
    EXPECT_EQ(mFpga.Read(kPage, 0x10C), 0xFFFF1003u);
    EXPECT_EQ(mFpga.Read(kPage + 1, 0x10C), 0u); // the page is told apart
    EXPECT_NE(MessageOf([&] { mBus.Request(kPage, 0x100, words.data(), 1, read.data(), 1, true, 10); }), "");
}

TEST_P(Transports, Axi4lReachesWhatIsBehindIt)
{
    CPtRegisterBank bank(mBus, kPage, 0x40, 0x10);
    CAxi4lPtBus plain(mBus, kPage, 0x40, mClock);
    CAxi4lPtBus flagged(bank, mClock, 0xFF);
    for (const EMode mode : {EMode::Normal, EMode::Slow})
    {
        mAxi4l.SetMode(mode);
        plain.Write(0x80001000, 0xDEADBEEF);
        EXPECT_EQ(mAxi4l.GetLastCommand(), 0xF0001u);
        EXPECT_EQ(plain.Read(0x80001000), 0xDEADBEEFu);
        EXPECT_EQ(mAxi4l.GetLastCommand(), 0xF0101u);
        flagged.Write(0x80001004, mode == EMode::Slow ? 1 : 2);
        EXPECT_EQ(mAxi4l.GetLastCommand(), 0xF0011u);
        EXPECT_EQ(flagged.Read(0x80001004), mode == EMode::Slow ? 1u : 2u);
        EXPECT_EQ(mAxi4l.GetLastCommand(), 0xF0111u);
    }
    mAxi4l.SetMode(EMode::Stuck);
    EXPECT_EQ(MessageOf([&] { plain.Write(0, 0); }), "Timeout waiting AXI4-Lite write transaction to finish");
    EXPECT_EQ(MessageOf([&] { plain.Read(0); }), "Timeout waiting AXI4-Lite read transaction to finish");
    std::uint32_t word = 0;
    EXPECT_EQ(MessageOf([&] { plain.Write(0, &word, 1); }), "Not implemented");
    EXPECT_EQ(MessageOf([&] { plain.Read(0, &word, 1); }), "Not implemented");
}

TEST_P(Transports, SpiAndI2cReachTheCellsOfAnEeprom)
{
    CSpiPtBus spi(mBus, kPage, 0x80, mClock);
    CI2cPtBus i2c(mBus, kPage, 0xC0, mClock, "EEPROM bus");
    EXPECT_STREQ(i2c.GetName(), "EEPROM bus");
    const std::uint8_t enable[] = {0x06};
    const std::uint8_t write[] = {0x02, 0x01, 0x3E, 0xA1, 0xA2, 0xA3}; // goes round at the end of the page
    const std::uint8_t readStatus[] = {0x05};
    const std::uint8_t address[] = {0x01, 0x3E};
    std::array<std::uint8_t, 4> read{};
    spi.WriteRead(0, enable, 1, nullptr, 0);
    spi.WriteRead(0, write, sizeof write, nullptr, 0);
    int polls = 0;
    do // the chip is busy with its cycle
        spi.WriteRead(0, readStatus, 1, read.data(), 1);
    while ((read[0] & 1) != 0 && ++polls < 100);
    EXPECT_GT(polls, 0);

    i2c.WriteRead(0x50, address, 2, read.data(), 2);
    EXPECT_EQ(read[0], 0xA1);
    EXPECT_EQ(read[1], 0xA2);
    i2c.Read(0x50, read.data(), 1); // goes on
    EXPECT_EQ(read[0], 0xFF);
    const std::uint8_t rewrite[] = {0x01, 0x3F, 0x77};
    i2c.Write(0x50, rewrite, 3);
    EXPECT_EQ(MessageOf([&] { i2c.Read(0x50, read.data(), 1); }),
              "I2C EEPROM bus: device 0x50 does not acknowledge"); // busy
    ASSERT_TRUE(mEeprom.Read(0x120, read.data(), 1));
    EXPECT_EQ(read[0], 0xA3);
    ASSERT_TRUE(mEeprom.Read(0x13F, read.data(), 1));
    EXPECT_EQ(read[0], 0x77);
    EXPECT_EQ(mEeprom.GetWear(0x120 / 32), 2u);
}

TEST_P(Transports, AMasterThatFailsIsAborted)
{
    CSpiPtBus spi(mBus, kPage, 0x80, mClock);
    CI2cPtBus i2c(mBus, kPage, 0xC0, mClock, "bus");
    const std::vector<std::uint8_t> tx(600, 0x03);
    std::vector<std::uint8_t> rx(8);
    const auto spiRead = [&] { spi.WriteRead(9, tx.data(), 3, rx.data(), 8); };
    const auto i2cRead = [&] { i2c.WriteRead(0x50, tx.data(), 2, rx.data(), 8); };
    struct SCase
    {
        EMode mMode;
        const char* mText;
        std::function<void()> mCall;
        bool mAborts;
    };
    const SCase cases[] = {
        {EMode::Slow, "", spiRead, false},
        {EMode::NotReady, "SPI master not ready.", spiRead, true},
        {EMode::Stuck, "SPI master transaction timed out.", spiRead, true},
        {EMode::Failing, "SPI master read, length of data received 7, expected 8.", spiRead, true},
        {EMode::Normal, "SPI master TX buffer overflow.",
         [&] { spi.WriteRead(9, tx.data(), 600, nullptr, 0); }, true},
        {EMode::Normal, "Write buffer cannot be null and write length cannot be zero.",
         [&] { spi.WriteRead(9, nullptr, 1, rx.data(), 1); }, false},
        {EMode::Normal, "Write buffer cannot be null and write length cannot be zero.",
         [&] { spi.WriteRead(9, tx.data(), 0, rx.data(), 1); }, false},
        {EMode::Normal, "Read buffer cannot be null while read length is bigger than 0.",
         [&] { spi.WriteRead(9, tx.data(), 1, nullptr, 1); }, false},
        {EMode::Normal, "SPI master cannot write 16 and read 1 bytes at once.",
         [&] { spi.WriteRead(9, tx.data(), 16, rx.data(), 1); }, false},
        {EMode::Slow, "", i2cRead, false},
        {EMode::NotReady, "I2C bus: master not ready", i2cRead, true},
        {EMode::Stuck, "I2C bus: no end of the transfer with device 0x50", i2cRead, true},
        {EMode::Failing, "I2C bus: device 0x50 gave 7 bytes of 8", i2cRead, true},
        {EMode::Normal, "I2C bus: device 0x51 does not acknowledge", [&] { i2c.Read(0x51, rx.data(), 1); },
         true},
        {EMode::Normal, "I2C bus: device 0x50 cannot be sent 256 and asked for 0 bytes",
         [&] { i2c.Write(0x50, tx.data(), 256); }, false},
        {EMode::Normal, "I2C bus: device 0x80 cannot be sent 1 and asked for 0 bytes",
         [&] { i2c.Write(0x80, tx.data(), 1); }, false},
        {EMode::Normal, "I2C bus: device 0x50 cannot be sent 0 and asked for 0 bytes",
         [&] { i2c.Write(0x50, nullptr, 0); }, false},
    };
    for (const SCase& test : cases)
    {
        SCOPED_TRACE(test.mText);
        const unsigned aborts = mSpi.GetAborts() + mI2c.GetAborts();
        mSpi.SetMode(test.mMode);
        mI2c.SetMode(test.mMode);
        EXPECT_EQ(MessageOf(test.mCall), test.mText);
        EXPECT_EQ(mSpi.GetAborts() + mI2c.GetAborts() - aborts, test.mAborts ? 1u : 0u);
    }
    mSpi.SetMode(EMode::Normal);
    mI2c.SetMode(EMode::Normal);
    EXPECT_EQ(MessageOf(spiRead), ""); // an abort leaves nothing behind
    EXPECT_EQ(MessageOf(i2cRead), "");
}

TEST(TransportFailures, AreToldAndLeaveTheBusUsable)
{
    CSteppingClock clock(100000);
    CSimulatedFpga fpga(clock);
    CSimulatedBuses pcie(EPtTransport::Pcie, fpga, clock);
    CPtRegisterBank bank(pcie.GetBus(2), 2, 0x20, 0x10);
    bank.WriteFieldWait(4, 0x5A, 0, 0xFF);
    const auto read = [&] { EXPECT_EQ(bank.ReadField(4, 0, 0xFF), 0x5Au); };
    using EDevice = CSimulatedPcieDevice::EMode;
    const std::pair<EDevice, const char*> cases[] = {
        {EDevice::Late, ""},
        {EDevice::Silent, "PtBus Receive: [2][0x0024]: Timeout["},
        {EDevice::Short, "PtBus Receive: [2][0x0024]: Timeout["},
        {EDevice::Gone, "PtBus Send: [2][0x0024]: The driver refused the packet"},
        {EDevice::Normal, ""},
    };
    for (const auto& [mode, text] : cases)
    {
        pcie.GetPcieDevice().SetMode(mode);
        EXPECT_EQ(MessageOf(read).substr(0, std::strlen(text)), text);
    }

    CSimulatedBuses spi(EPtTransport::Spi, fpga, clock);
    CPtRegisterBank other(spi.GetBus(2), 2, 0x20, 0x10);
    spi.GetSpiLink().SetGone(true);
    EXPECT_EQ(MessageOf([&] { other.ReadField(4, 0, 0xFF); }), "Simulated SPI line: nobody answers");
    spi.GetSpiLink().SetGone(false);
    EXPECT_EQ(other.ReadField(4, 0, 0xFF), 0x5Au);
}
