// The driver against the simulated chip, through the simulated I2C master, with every way they can fail.
#include "software/bp/rtl/CI2cEeprom.h"

#include "simulator/CSimulatedEeprom.h"
#include "simulator/CSimulatedFpga.h"
#include "simulator/CSimulatedI2cMaster.h"
#include "simulator/CSimulatedLocalBus.h"
#include "simulator/CSimulatedSpiMaster.h"
#include "software/bp/rtl/CI2cPtBus.h"
#include "software/bp/rtl/CSpiPtBus.h"
#include "tests/support/CRecordingLog.h"
#include "tests/support/CSteppingClock.h"
#include "tests/support/MessageOf.h"

#include <gtest/gtest.h>

#include <numeric>
#include <optional>
#include <vector>

namespace
{
using Bytes = std::vector<std::uint8_t>;

// Does so many transfers and fails at the next one, once.
class CFragileBus : public CSimulatedLocalBus
{
public:
    using CSimulatedLocalBus::CSimulatedLocalBus;
    using CSimulatedLocalBus::Request;
    using CSimulatedLocalBus::Send;
    void Send(std::uint8_t channel, std::uint16_t address, const std::uint32_t* data, std::uint32_t count,
              bool increment) override
    {
        Count();
        CSimulatedLocalBus::Send(channel, address, data, count, increment);
    }
    void Request(std::uint8_t channel, std::uint16_t address, const std::uint32_t* writeData,
                 std::uint32_t writeCount, std::uint32_t* readData, std::uint32_t readCount, bool increment,
                 std::uint32_t timeoutMs) override
    {
        Count();
        // Not through the Send above, which would count once more.
        if (writeCount != 0)
            CSimulatedLocalBus::Send(channel, address, writeData, writeCount, increment);
        CSimulatedLocalBus::Receive(channel, address, readData, readCount, increment, timeoutMs);
    }

    std::optional<unsigned> mLeft;

private:
    void Count()
    {
        if (!mLeft || (*mLeft)-- != 0)
            return;
        mLeft.reset();
        throw CException("Count", "CFragileBus", 0, false, "the bus failed");
    }
};

class I2cEeprom : public testing::Test
{
protected:
    I2cEeprom()
    {
        mFpga.Attach({kPage, 0, 0x10}, mMaster);
        mFpga.Attach({kPage, 0x10, 0x10}, mSpiMaster);
        mMaster.AddChip(0x50, mChip.GetI2cChip());
    }

    Bytes Cells() // past the driver
    {
        Bytes cells(mChip.GetSize());
        EXPECT_TRUE(mChip.Read(0, cells.data(), mChip.GetSize()));
        return cells;
    }
    static Bytes Counting(std::size_t size)
    {
        Bytes bytes(size);
        std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
        return bytes;
    }

    static constexpr std::uint8_t kPage = 3;

    CRecordingLog mLog;
    CSteppingClock mClock{100000}; // 10 us a look
    CSimulatedFpga mFpga{mClock};
    CSimulatedI2cMaster mMaster;
    CSimulatedEeprom mChip{{1024, 64, 5}, mClock};
    CSimulatedSpiMaster mSpiMaster{mChip.GetSpiChip()};
    CFragileBus mPtBus{mFpga, kPage};
    CI2cPtBus mBus{mPtBus, kPage, 0, mClock, "board"};
    CI2cEeprom mEeprom{mBus, 0x50, {1024, 64, 2, 10}, mClock, mLog};
};

// Two blocks of 256 bytes behind one byte of address, as the small chips have them.
class CBlock : public ISimulatedChip
{
public:
    bool Transfer(const Bytes& tx, Bytes& rx) override
    {
        std::size_t at = tx.empty() ? 0 : tx[0];
        for (std::size_t i = 1; i < tx.size(); ++i)
            mCells.at(at++) = tx[i];
        for (std::uint8_t& byte : rx)
            byte = mCells.at(at++); // a read that runs out of the block throws
        return true;
    }
    Bytes mCells = Bytes(256, 0xEE);
};
} // namespace

TEST_F(I2cEeprom, WritesPageByPageAndReturnsWhenTheChipIsDone)
{
    const Bytes data = Counting(700);
    ASSERT_TRUE(mEeprom.Write(30, data.data(), 700));
    Bytes now(1);
    EXPECT_TRUE(mBus.TryWriteRead(0x50, now.data(), 1, now.data(), 1)); // no longer deaf
    ASSERT_TRUE(mEeprom.Erase(100, 50));

    Bytes expected(1024, 0xFF);
    std::copy(data.begin(), data.end(), expected.begin() + 30);
    std::fill_n(expected.begin() + 100, 50, std::uint8_t{0xFF});
    EXPECT_EQ(Cells(), expected);
    EXPECT_EQ(mChip.GetWear(0), 1u);
    EXPECT_EQ(mChip.GetWear(1), 2u); // a cycle of each call, not more
    Bytes read(1024);
    ASSERT_TRUE(mEeprom.Read(0, read.data(), 1024));
    EXPECT_EQ(read, expected);
    EXPECT_EQ(mEeprom.GetSize(), 1024u);
    EXPECT_TRUE(mLog.GetLines().empty());
}

TEST_F(I2cEeprom, RefusesWhatLiesOutsideAndChipsThatCannotBe)
{
    Bytes bytes(2);
    EXPECT_FALSE(mEeprom.Read(1023, bytes.data(), 2));
    EXPECT_FALSE(mEeprom.Write(0xFFFFFFFF, bytes.data(), 2));
    EXPECT_FALSE(mEeprom.Erase(1024, 1));
    EXPECT_FALSE(mEeprom.Write(0, nullptr, 1));
    EXPECT_FALSE(mEeprom.Read(0, nullptr, 1));
    EXPECT_TRUE(mEeprom.Erase(1024, 0));
    EXPECT_EQ(Cells(), Bytes(1024, 0xFF));
    const CI2cEeprom::SKind kinds[] = {{0, 64, 2, 5},    {1000, 64, 2, 5},  {1024, 0, 2, 5},
                                       {1024, 48, 2, 5}, {1024, 512, 2, 5}, {4096, 16, 1, 5},
                                       {1024, 64, 3, 5}, {1024, 64, 0, 5}};
    for (const CI2cEeprom::SKind& kind : kinds)
        EXPECT_NE(MessageOf([&] { CI2cEeprom(mBus, 0x50, kind, mClock, mLog); }), "") << kind.mSize;
    EXPECT_EQ(MessageOf(
                  [&] {
                      CI2cEeprom(mBus, 0x7F, {512, 16, 1, 5}, mClock, mLog);
                  }),
              "EEPROM of 512 bytes with pages of 16 and 1 bytes of address at 0x7f cannot be");
}

TEST_F(I2cEeprom, TheUpperPartOfALongAddressIsInTheDevice)
{
    CBlock blocks[2];
    mMaster.AddChip(0x52, blocks[0]);
    mMaster.AddChip(0x53, blocks[1]);
    CI2cEeprom small(mBus, 0x52, {512, 16, 1, 5}, mClock, mLog);
    const Bytes data = Counting(20);
    ASSERT_TRUE(small.Write(250, data.data(), 20));
    EXPECT_EQ(Bytes(blocks[0].mCells.begin() + 250, blocks[0].mCells.end()),
              Bytes(data.begin(), data.begin() + 6));
    EXPECT_EQ(Bytes(blocks[1].mCells.begin(), blocks[1].mCells.begin() + 14),
              Bytes(data.begin() + 6, data.end()));
    Bytes read(20);
    ASSERT_TRUE(small.Read(250, read.data(), 20));
    EXPECT_EQ(read, data);
}

TEST_F(I2cEeprom, WhatFailsIsToldAndLaterWorksAgain)
{
    using EMode = CSimulatedBusy::EMode;
    Bytes bytes(8, 0x42);
    const std::pair<EMode, const char*> cases[] = {
        {EMode::NotReady, "EEPROM on board: I2C board: master not ready"},
        {EMode::Stuck, "EEPROM on board: I2C board: no end of the transfer with device 0x50"},
        {EMode::Failing, "EEPROM on board: I2C board: device 0x50 gave 7 bytes of 8"},
    };
    for (const auto& [mode, text] : cases)
    {
        mLog.Clear();
        mMaster.SetMode(mode);
        EXPECT_FALSE(mEeprom.Read(0, bytes.data(), 8));
        EXPECT_EQ(mLog.Count(text), 1u) << text;
    }
    mMaster.SetMode(EMode::Slow);
    EXPECT_TRUE(mEeprom.Write(8, bytes.data(), 8));

    CI2cEeprom hasty(mBus, 0x50, {1024, 64, 2, 1}, mClock, mLog); // gives up before the chip is done
    EXPECT_FALSE(hasty.Write(0, bytes.data(), 8));
    EXPECT_EQ(mLog.Count("EEPROM on board: device 0x50 does not acknowledge for 1 ms"), 1u);
    mChip.CutPowerAfter(70);
    EXPECT_FALSE(mEeprom.Write(0, Bytes(256).data(), 256));
    EXPECT_EQ(mLog.Count("EEPROM on board: device 0x50 does not acknowledge for 10 ms"), 1u);
    mChip.RestorePower();
    EXPECT_TRUE(mEeprom.Write(0, Bytes(256).data(), 256));
    EXPECT_EQ(Cells()[255], 0);
}

TEST_F(I2cEeprom, ARegisterBusThatFailsAnywhereLeavesNoBytesForTheNextTransaction)
{
    CSpiPtBus spi(mPtBus, kPage, 0x10, mClock);
    const std::uint8_t enable[] = {0x06};
    const std::uint8_t spiRead[] = {0x03, 0x00, 0x07};
    const std::uint8_t seven[] = {0x70};
    ASSERT_TRUE(mEeprom.Write(7, seven, 1));
    unsigned failures = 0;
    for (unsigned left = 0; left < 12; ++left)
    {
        SCOPED_TRACE(left);
        mPtBus.mLeft = left;
        Bytes byte(1, 0x70);
        failures += mEeprom.Write(7, byte.data(), 1) ? 0 : 1;
        mPtBus.mLeft.reset();
        ASSERT_TRUE(mEeprom.Read(7, byte.data(), 1));
        EXPECT_EQ(byte[0], 0x70);

        mPtBus.mLeft = left;
        MessageOf([&] { spi.WriteRead(0, enable, 1, nullptr, 0); });
        mPtBus.mLeft.reset();
        EXPECT_EQ(MessageOf([&] { spi.WriteRead(0, spiRead, 3, byte.data(), 1); }), "");
        EXPECT_EQ(byte[0], 0x70);
    }
    EXPECT_GT(failures, 6u);
    Bytes expected(1024, 0xFF);
    expected[7] = 0x70;
    EXPECT_EQ(Cells(), expected);
}
