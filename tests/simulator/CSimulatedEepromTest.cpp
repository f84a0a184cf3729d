// Cells, wear, and a power cut in the middle of a page.
#include "simulator/CSimulatedEeprom.h"

#include "software/utility/CException.h"
#include "tests/support/CManualClock.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

namespace
{
using Bytes = std::vector<std::uint8_t>;

class SimulatedEeprom : public testing::Test
{
protected:
    Bytes ReadAll()
    {
        Bytes bytes(64);
        EXPECT_TRUE(mEeprom.Read(0, bytes.data(), 64));
        return bytes;
    }
    static Bytes Counting(std::size_t size, std::uint8_t first)
    {
        Bytes bytes(size);
        std::iota(bytes.begin(), bytes.end(), first);
        return bytes;
    }

    CManualClock mClock{1000000};
    CSimulatedEeprom mEeprom{{64, 16, 5}, mClock};
};
} // namespace

TEST_F(SimulatedEeprom, WritesAndErasesRangesPageByPage)
{
    const Bytes data = Counting(20, 1);
    ASSERT_TRUE(mEeprom.Write(10, data.data(), 20));
    ASSERT_TRUE(mEeprom.Erase(12, 2));
    Bytes expected(64, 0xFF);
    std::copy(data.begin(), data.end(), expected.begin() + 10);
    expected[12] = expected[13] = 0xFF;
    EXPECT_EQ(ReadAll(), expected);
    EXPECT_EQ(mEeprom.GetWear(0), 2u);
    EXPECT_EQ(mEeprom.GetWear(1), 1u);
    EXPECT_EQ(mEeprom.GetWear(2), 0u);
}

TEST_F(SimulatedEeprom, APowerCutLeavesTheRestOfThePageErased)
{
    const Bytes before = Counting(64, 0);
    const Bytes after = Counting(32, 100);
    ASSERT_TRUE(mEeprom.Write(0, before.data(), 64));
    mEeprom.CutPowerAfter(20);
    EXPECT_FALSE(mEeprom.Write(0, after.data(), 32));
    EXPECT_FALSE(mEeprom.HasPower());
    Bytes nothing(1);
    EXPECT_FALSE(mEeprom.Read(0, nothing.data(), 1));
    EXPECT_FALSE(mEeprom.Erase(0, 1));

    mEeprom.RestorePower();
    Bytes expected = before;
    std::copy_n(after.begin(), 20, expected.begin());
    std::fill(expected.begin() + 20, expected.begin() + 32, std::uint8_t{0xFF});
    EXPECT_EQ(ReadAll(), expected);
}

TEST_F(SimulatedEeprom, RefusesWhatLiesOutside)
{
    Bytes bytes(64);
    EXPECT_FALSE(mEeprom.Read(1, bytes.data(), 64));
    EXPECT_FALSE(mEeprom.Write(64, bytes.data(), 1));
    EXPECT_FALSE(mEeprom.Write(0xFFFFFFFF, bytes.data(), 2));
    EXPECT_FALSE(mEeprom.Erase(63, 2));
    EXPECT_FALSE(mEeprom.Write(0, nullptr, 1));
    EXPECT_TRUE(mEeprom.Erase(64, 0));
    EXPECT_EQ(mEeprom.GetWear(3), 0u);
    EXPECT_THROW(CSimulatedEeprom({64, 24, 5}, mClock), CException);
}
