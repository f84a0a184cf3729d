// Shadows, ranges and ports, and the transfers that they cost.
#include "software/bp/rtl/CPtRegisterBank.h"

#include "software/bp/rtl/CPtAddressedMemoryPort.h"
#include "software/bp/rtl/CPtMemoryPort.h"
#include "tests/support/CRecordingBus.h"
#include "tests/support/MessageOf.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <vector>

namespace
{
using Calls = std::vector<std::string>;

class PtRegisterBank : public testing::Test
{
protected:
    CRecordingBus mBus;
    CPtRegisterBank mBank{mBus, 3, 0x100, 0x40};
};
} // namespace

TEST_F(PtRegisterBank, FieldsChangeTheirOwnBitsAndCostOneTransfer)
{
    mBus.mReply = {0xABCD1234};
    EXPECT_EQ(mBank.ReadField(8, 4, 0xF0), 0x3u);
    EXPECT_EQ(mBank.ReadShadowBits(8, 16, 0xFFFF0000), 0xABCDu);
    mBank.WriteField(8, 0xFF, 4, 0xF0); // bits beyond the mask are lost
    mBank.WriteFieldWait(8, 0, 0, 0x4);
    mBank.WriteShadowBits(8, 1, 31, 0x80000000);
    EXPECT_EQ(mBank.ReadShadowBits(8, 0, 0xFFFFFFFF), 0xABCD12F0u);
    EXPECT_EQ(mBus.Take(), (Calls{"Request c3 @108 x0 inc <1 10ms", "Send c3 @108 x1 fixed =abcd12f4",
                                  "Request c3 @108 x1 fixed =abcd12f0 <0 10ms"}));
}

TEST_F(PtRegisterBank, AFailedTransferLeavesTheShadowAsItWasMeant)
{
    mBus.mFails = true;
    EXPECT_EQ(MessageOf([&] { mBank.WriteField(4, 7, 0, 0xF); }), "the bus fails");
    EXPECT_EQ(mBank.ReadShadowBits(4, 0, 0xF), 7u);
    EXPECT_EQ(MessageOf([&] { mBank.ReadField(4, 0, 0xF); }), "the bus fails");
    EXPECT_EQ(mBank.ReadShadowBits(4, 0, 0xF), 7u);
}

TEST_F(PtRegisterBank, RangesAndDataGoAsBlocks)
{
    mBus.mReply = {0x03020100, 0x07060504};
    mBank.RefreshShadowRange(0x10, 2, 25);
    mBank.ApplyShadowRange(0x10, 2);
    mBank.ApplyShadowRangeWait(0x14, 1);
    mBank.Flush(30);
    EXPECT_EQ(mBus.Take(),
              (Calls{"Request c3 @110 x0 inc <2 25ms", "Send c3 @110 x2 inc =3020100,7060504",
                     "Request c3 @114 x1 inc =7060504 <0 10ms", "Request c3 @100 x0 inc <0 30ms"}));

    std::array<std::uint8_t, 6> data{};
    mBus.mReply = {0xF3F2F1F0};
    mBank.ReadData(data.data(), 0x12, 4, 5); // one word refreshed; what lies behind it is as it was
    EXPECT_EQ(data, (std::array<std::uint8_t, 6>{0xF2, 0xF3, 4, 5}));
    EXPECT_EQ(mBus.Take(), (Calls{"Request c3 @110 x0 inc <1 5ms"}));

    data = {1, 2, 3, 4, 5, 6};
    mBank.WriteDataWait(data.data(), 0x13, 5, 8); // every word that it touches
    EXPECT_EQ(mBus.Take(), (Calls{"Send c3 @110 x2 inc =1f2f1f0,5040302", "Request c3 @100 x0 inc <0 8ms"}));
    mBank.WriteData(nullptr, 0, 0);
    mBank.ReadData(nullptr, 0, 0, 5);
    EXPECT_EQ(mBus.Take(), Calls{});
}

TEST_F(PtRegisterBank, TheAddressThatEqualsTheSizePassesAndNothingBehindIt)
{
    mBank.AddressCheck(0x40);
    mBank.WriteField(0x40, 9, 0, 0xF);
    EXPECT_EQ(mBank.ReadShadowBits(0x40, 0, 0xF), 9u);
    mBank.ApplyShadowRange(0x40, 0);
    mBus.Take();
    std::array<std::uint8_t, 80> data{};
    const char kMisaligned[] = "Address must be aligned to 32 bit boundary (0x6)";
    const char kOutside[] = "Address out of range (0x44).  Bank size: 0x40";
    const std::pair<const char*, std::function<void()>> cases[] = {
        {kMisaligned, [&] { mBank.AddressCheck(6); }},
        {kMisaligned, [&] { mBank.ReadField(6, 0, 1); }},
        {kMisaligned, [&] { mBank.ApplyShadowRange(6, 1); }},
        {kMisaligned, [&] { CPtRegisterBank(mBank, 6, 4); }},
        {kMisaligned, [&] { CPtResource(mBus, 0, 6); }},
        {kOutside, [&] { mBank.AddressCheck(0x44); }},
        {kOutside, [&] { mBank.WriteField(0x44, 0, 0, 1); }},
        {kOutside, [&] { mBank.RefreshShadowRange(0x40, 1, 10); }},
        {kOutside, [&] { mBank.ApplyShadowRangeWait(0x3C, 2); }},
        {kOutside, [&] { mBank.ReadData(data.data(), 0x3F, 5, 10); }},
        {kOutside, [&] { mBank.WriteData(data.data(), 0, 0x44); }},
        {kOutside, [&] { CPtRegisterBank(mBank, 0x20, 0x24); }},
        {"Address out of range (0x80).  Bank size: 0x40", [&] { CPtRegisterBank(mBank, 0x80, 4); }},
        {"Address out of range (0xffffffff).  Bank size: 0x40",
         [&] { mBank.ApplyShadowRange(0, 0x40000000); }},
        {"Field shift out of range (32)", [&] { mBank.ReadShadowBits(0, 32, 1); }},
        {"PtBus: [3][0x0100]: No buffer for 4 elements", [&] { mBank.WriteData(nullptr, 0, 4); }},
        {"Channel out of range (64)", [&] { CPtRegisterBank(mBus, 64, 0, 4); }},
        {"Register bank at 0xfff0 of 0x10 bytes exceeds 16 bit addresses",
         [&] { CPtRegisterBank(mBus, 0, 0xFFF0, 0x10); }},
        {"Port at 0x10000 exceeds 16 bit addresses", [&] { CPtMemoryPort(mBus, 0, 0x10000); }},
    };
    for (const auto& [text, call] : cases)
        EXPECT_EQ(MessageOf(call), text);
    EXPECT_EQ(mBus.Take(), Calls{});
}

TEST_F(PtRegisterBank, ABankCutFromAnotherSharesItsShadow)
{
    CPtRegisterBank part(mBank, 0x10, 0x30); // to the end, whose own end is the address that passes
    EXPECT_TRUE(mBank.OwnsShadow());
    EXPECT_FALSE(part.OwnsShadow());
    EXPECT_EQ(part.HwAddr(4), 0x114);
    part.WriteField(4, 0x5A, 8, 0xFF00);
    EXPECT_EQ(mBank.ReadShadowBits(0x14, 0, 0xFFFFFFFF), 0x5A00u);
    mBank.WriteShadowBits(0x40, 3, 0, 0xF);
    EXPECT_EQ(part.ReadShadowBits(0x30, 0, 0xF), 3u);

    CPtRegisterBank deeper(part, 0x4, 0x8);
    EXPECT_EQ(deeper.ReadShadowBits(0, 8, 0xFF00), 0x5Au);
    EXPECT_EQ(deeper.GetBase(), 0x114u);
}

TEST_F(PtRegisterBank, APortWritesInChunksAndReadsAtOnce)
{
    CPtMemoryPort port(mBank, 0x20);
    const std::vector<std::uint32_t> words(600, 1);
    const std::vector<std::uint8_t> bytes(257, 1);
    port.Write(words.data(), 600, 0);
    port.Write(bytes.data(), 257, 40);
    EXPECT_EQ(mBus.Take(),
              (Calls{"Send c3 @120 x256 fixed", "Send c3 @120 x256 fixed", "Send c3 @120 x88 fixed",
                     "RequestB c3 @120 x256 fixed <0 40ms", "RequestB c3 @120 x1 fixed =1 <0 40ms"}));
    std::array<std::uint32_t, 300> read{};
    mBus.mReply = {0xCAFE, 0xBABE};
    port.Read(read.data(), 300, 15);
    EXPECT_EQ(read[1], 0xBABEu);
    EXPECT_EQ(port.Read(0u), 0xCAFEu);
    EXPECT_EQ(port.ReadByte(4), 0xFE);
    EXPECT_EQ(mBus.Take(), (Calls{"Request c3 @120 x0 fixed <300 15ms", "Request c3 @120 x0 fixed <1 10ms",
                                  "RequestB c3 @124 x0 fixed <1 10ms"}));
    port.Write(words.data(), 0, 0);
    EXPECT_EQ(mBus.Take(), Calls{});

    CPtAddressedMemoryPort memory(mBus, 5, 0x200, 0x10, 0x8);
    const std::uint32_t value = 0x77;
    memory.WriteDataAtAddress(0x12345, &value, 1, 0);
    memory.ReadDataAtAddress(0x12346, read.data(), 2, 20);
    EXPECT_EQ(mBus.Take(), (Calls{"Send c5 @200 x1 fixed =12345", "Send c5 @208 x1 fixed =77",
                                  "Send c5 @200 x1 fixed =12346", "Request c5 @208 x0 fixed <2 20ms"}));
}
