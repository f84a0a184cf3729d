// Bytes on the SPI line, and how longer transfers are cut.
#include "software/bp/rtl/CHkbFpga.h"

#include "software/bp/rtl/CPtBusSpiFpga.h"
#include "tests/support/MessageOf.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <string>
#include <vector>

namespace
{
using Bytes = std::vector<std::uint8_t>;

// Keeps what is sent; gives 0xC1, 0xC2, ... to who reads.
class CScriptedLink : public CHkbFpga::ITransactLink
{
public:
    void Transact(CHkbFpga::SMessage& message) override
    {
        mSent.emplace_back(message.mTx, message.mTx + message.mTxLength);
        for (std::uint32_t i = 0; i < message.mRxLength; ++i)
            message.mRx[i] = static_cast<std::uint8_t>(0xC1 + i);
    }
    std::vector<Bytes> mSent;
};

class HkbFpga : public testing::Test
{
protected:
    CScriptedLink mLink;
    CHkbFpga mFpga{mLink, 0x55};
    CPtBusSpiFpga mBus{mFpga};
    std::uint32_t mWords[1100] = {0x11223344, 0x55667788};
    std::uint8_t mBytes[600] = {7, 8, 9};
};
} // namespace

TEST_F(HkbFpga, MessagesHaveAHeaderAndThePayload)
{
    struct SCase
    {
        const char* mName;
        std::function<void()> mCall;
        Bytes mSent;
    };
    const SCase cases[] = {
        {"byte", [&] { mFpga.WriteRegisterB(0xABC, 0xEE); }, {0xAA, 1, 0xBC, 0xA8, 0xEE}},
        {"half word", [&] { mFpga.WriteRegisterH(0x004, 0x1234); }, {0xAA, 2, 0x04, 0x08, 0x34, 0x12}},
        {"word",
         [&] { mFpga.WriteRegisterW(0xFFC, 0x11223344); },
         {0xAA, 4, 0xFC, 0xF8, 0x44, 0x33, 0x22, 0x11}},
        {"block of words",
         [&] { mFpga.WriteRegisterBlockW(0, mWords, 2, CHkbFpga::eAddrFixed); },
         {0xAA, 8, 0, 0, 0x44, 0x33, 0x22, 0x11, 0x88, 0x77, 0x66, 0x55}},
        {"block of bytes",
         [&] { mFpga.WriteRegisterBlockB(0x100, mBytes, 3, CHkbFpga::eAddrIncrement); },
         {0xAA, 3, 0x00, 0x18, 7, 8, 9}},
        {"read", [&] { EXPECT_EQ(mFpga.ReadRegisterW(0x20), 0xC4C3C2C1u); }, {0xAB, 4, 0x20, 0x08}},
        {"read half word", [&] { EXPECT_EQ(mFpga.ReadRegisterH(0x20), 0xC2C1); }, {0xAB, 2, 0x20, 0x08}},
        {"read byte", [&] { EXPECT_EQ(mFpga.ReadRegisterB(0x20), 0xC1); }, {0xAB, 1, 0x20, 0x08}},
        {"256 bytes are written as 0",
         [&] { mFpga.ReadRegisterBlockW(0x20, mWords, 64, CHkbFpga::eAddrFixed); },
         {0xAB, 0, 0x20, 0x00}},
    };
    for (const SCase& test : cases)
    {
        SCOPED_TRACE(test.mName);
        mLink.mSent.clear();
        test.mCall();
        EXPECT_EQ(mLink.mSent, std::vector<Bytes>{test.mSent});
    }
}

TEST_F(HkbFpga, RefusesWhatNoMessageHolds)
{
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"Message payload exceeds 256 limit",
         [&] { mFpga.WriteRegisterBlockB(0, mBytes, 257, CHkbFpga::eAddrFixed); }},
        {"Message payload exceeds 256 limit",
         [&] { mFpga.ReadRegisterBlockW(0, mWords, 65, CHkbFpga::eAddrFixed); }},
        {"Message payload exceeds 256 limit",
         [&] { mFpga.ReadRegisterBlockW(0, mWords, 0x40000001, CHkbFpga::eAddrFixed); }},
        {"Message payload is empty", [&] { mFpga.ReadRegisterBlockW(0, mWords, 0, CHkbFpga::eAddrFixed); }},
        {"Hkb address is not on 4 byte boundaries.", [&] { mFpga.WriteRegisterB(2, 1); }},
        {"Hkb address 4096 is out of range.", [&] { mFpga.ReadRegisterB(4096); }},
        {"Hkb device id 128 is out of range.", [&] { CHkbFpga(mLink, 128); }},
        {"Hkb address 4096 is out of range.", [&] { mBus.Send(0, 0xFFC, mWords, 2, true); }},
        {"Hkb address 4096 is out of range.", [&] { mBus.Receive(0, 0xF00, mWords, 1100, true, 0); }},
        {"PtBus: [0][0x0000]: No buffer for 1 elements",
         [&] { mBus.Send(0, 0, static_cast<std::uint8_t*>(nullptr), 1, true); }},
        {"Not implemented", [&] { mBus.Send(0, 0, 0, false, false, false, false); }},
    };
    for (const auto& [text, call] : cases)
        EXPECT_EQ(MessageOf(call), text);
    EXPECT_TRUE(mLink.mSent.empty()); // nothing of a transfer goes whose end is refused
}

TEST_F(HkbFpga, TheBusCutsLongTransfers)
{
    const auto headers = [&]
    {
        std::vector<std::string> result;
        for (const Bytes& sent : mLink.mSent)
        {
            char text[32];
            std::snprintf(text, sizeof text, "%02x %02x %02x %02x +%zu", sent[0], sent[1], sent[2], sent[3],
                          sent.size() - 4);
            result.emplace_back(text);
        }
        mLink.mSent.clear();
        return result;
    };
    using Headers = std::vector<std::string>;
    mBus.Send(0, 0x80, mWords, 129, true);
    EXPECT_EQ(headers(), (Headers{"aa 00 80 08 +256", "aa 00 80 18 +256", "aa 04 80 28 +4"}));
    mBus.Send(0, 0x80, mBytes, 258, false);
    EXPECT_EQ(headers(), (Headers{"aa 00 80 00 +256", "aa 02 80 00 +2"}));
    mBus.Receive(0, 0x80, mBytes, 300, true, 0);
    EXPECT_EQ(headers(), (Headers{"ab 00 80 08 +0", "ab 2c 80 18 +0"}));
    mBus.Request(0, 0x80, mWords, 1, nullptr, 0, false, 0);
    EXPECT_EQ(headers(), (Headers{"aa 04 80 08 +4"})); // one element goes as a register
    mBus.Request(0, 0x80, static_cast<std::uint32_t*>(nullptr), 0, nullptr, 0, true, 0);
    EXPECT_EQ(headers(), Headers{});
    EXPECT_NE(MessageOf([&] { mBus.Request(0, 0x80, mWords, 1, mWords, 1, true, 0); }), "");
    EXPECT_EQ(headers(), Headers{});
}
