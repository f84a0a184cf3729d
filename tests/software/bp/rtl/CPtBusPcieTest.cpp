// The bytes that the driver gets, and what happens when it does not answer.
#include "software/bp/rtl/CPtBusPcie.h"

#include "software/bp/rtl/CPtBusPcieDma.h"
#include "software/utility/CPosixFile.h"
#include "software/utility/NByteOrder.h"
#include "tests/support/CManualClock.h"
#include "tests/support/CSteppingClock.h"
#include "tests/support/MessageOf.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <deque>
#include <functional>
#include <vector>

namespace
{
// Keeps every record as bytes; answers what the test says.
class CScriptedDevice : public CPosixFile
{
public:
    struct SCall
    {
        unsigned long mRequest;
        std::vector<unsigned char> mRecord;

        std::uint32_t Get32(std::size_t at) const { return NByteOrder::GetLe32(mRecord.data() + at); }
        std::uint64_t Get64(std::size_t at) const { return NByteOrder::GetLe64(mRecord.data() + at); }
    };

    int Ioctl(unsigned long request, void* argument) override
    {
        const std::size_t size = request == 0x40085A05   ? 24
                                 : request == 0x80085A04 ? 32
                                 : request == 0x80085A06 ? 12
                                 : request == 0x40085A0D ? 40
                                                         : 4;
        auto* bytes = static_cast<unsigned char*>(argument);
        mCalls.push_back({request, {bytes, bytes + size}});
        return mAnswer ? mAnswer(request, bytes) : 0;
    }

    std::vector<SCall> mCalls;
    std::function<int(unsigned long, unsigned char*)> mAnswer;
};

int Fail(int error)
{
    errno = error;
    return -1;
}

constexpr std::uint32_t kWords[] = {0x11223344, 0xAABBCCDD};
constexpr std::uint8_t kBytes[] = {1, 2, 3, 4, 5, 6};

class PtBusPcie : public testing::Test
{
protected:
    std::uint64_t HeaderOf(std::size_t call) const { return mDevice.mCalls.at(call).Get64(8); }

    CScriptedDevice mDevice;
    CManualClock mClock{1000000};
    CPtBusPcie mBus{mDevice, mClock};
    std::uint32_t mWords[256] = {};
    std::uint8_t mBytes[1024] = {};
};
} // namespace

TEST_F(PtBusPcie, HeadersHaveEveryBitInItsPlace)
{
    struct SCase
    {
        const char* mName;
        std::uint64_t mHeader;
        std::function<void()> mCall;
    };
    const std::uint32_t* const noWords = nullptr;
    const std::uint8_t* const noBytes = nullptr;
    std::uint32_t* const noReply = nullptr;
    const SCase cases[] = {
        {"write, words", 0x0C10'0000'0008'0089, [&] { mBus.Send(3, 0x10, kWords, 2, true); }},
        {"write, fixed", 0x0C10'0000'0004'0009, [&] { mBus.Send(3, 0x10, kWords, 1, false); }},
        {"write, bytes cut to words", 0xFFFF'0000'0004'0089, [&] { mBus.Send(63, 0x3FF, kBytes, 6, true); }},
        {"write, 256 words", 0x0000'0000'0400'0089, [&] { mBus.Send(0, 0, mWords, 256, true); }},
        {"write, upper address beside the channel", 0x0C10'0000'0004'0009,
         [&] { mBus.Send(1, 0x810, kWords, 1, false); }},
        {"request that writes", 0x0C10'0000'0008'000A,
         [&] { mBus.Request(3, 0x10, kWords, 2, noReply, 0, false, 10); }},
        {"request that reads", 0x0C10'0008'0000'008A,
         [&] { mBus.Request(3, 0x10, noWords, 0, mWords, 2, true, 10); }},
        {"request that reads bytes", 0x0C10'0004'0000'008A,
         [&] { mBus.Request(3, 0x10, noBytes, 0, mBytes, 7, true, 10); }},
        {"request that does neither", 0x0C10'0000'0000'008A,
         [&] { mBus.Request(3, 0x10, noWords, 0, noReply, 0, true, 10); }},
        {"read, words", 0x0010'0000'0008'0C8B, [&] { mBus.Receive(3, 0x10, mWords, 2, true, 10); }},
        {"read, bytes", 0x0010'0000'0007'0C0B, [&] { mBus.Receive(3, 0x10, mBytes, 7, false, 10); }},
        {"read, upper address beside the channel", 0x0010'0000'0400'FC0B,
         [&] { mBus.Receive(61, 0x810, mWords, 256, false, 10); }},
        {"raw data", 0x3FFF'1234'0008'5A0C,
         [&] { mBus.Send(0xFC, 0xF5, 0x9234, 0xFFFF, kWords, 2, true, false, true, false); }},
        {"raw data, bytes", 0x0001'0002'0004'0501,
         [&] { mBus.Send(1, 0, 2, 1, kBytes, 6, false, true, false, true); }},
        {"raw control", 0x8110'1000'0000'C208, [&] { mBus.Send(0xFE, 0xC, 0x81, true, true, false, false); }},
        {"raw control, other flags", 0xFF01'0100'0000'5308,
         [&] { mBus.Send(0x3, 0x5, 0xFF, false, false, true, true); }},
    };
    for (const SCase& test : cases)
    {
        SCOPED_TRACE(test.mName);
        mDevice.mCalls.clear();
        test.mCall();
        ASSERT_FALSE(mDevice.mCalls.empty());
        EXPECT_EQ(HeaderOf(0), test.mHeader) << std::hex << HeaderOf(0);
    }
}

TEST_F(PtBusPcie, ARequestIsOnePacketAndItsReply)
{
    mDevice.mAnswer = [](unsigned long request, unsigned char* record)
    {
        if (request == 0x80085A04)
            std::memcpy(reinterpret_cast<void*>(NByteOrder::GetLe64(record + 24)), kWords, sizeof kWords);
        return 0;
    };
    const std::uint32_t* const nothing = nullptr;
    mBus.Request(3, 0x10, nothing, 0, mWords, 2, true, 10);
    ASSERT_EQ(mDevice.mCalls.size(), 2u);

    const auto& sent = mDevice.mCalls[0];
    EXPECT_EQ(sent.mRequest, 0x40085A05u);
    EXPECT_EQ(sent.Get32(0), 0u); // bytes of the payload
    EXPECT_EQ(sent.Get32(4), 0u);
    EXPECT_EQ(sent.Get64(16), 0u);

    const auto& received = mDevice.mCalls[1];
    EXPECT_EQ(received.mRequest, 0x80085A04u);
    EXPECT_EQ(received.Get32(0), 8u);
    EXPECT_EQ(received.Get32(4), 0u);
    EXPECT_EQ(received.Get64(8), sent.Get64(8)); // the request's header
    EXPECT_EQ(received.Get64(16), 0u);
    EXPECT_EQ(received.Get64(24), reinterpret_cast<std::uintptr_t>(mWords));
    EXPECT_EQ(mWords[1], kWords[1]);

    EXPECT_EQ(mBus.GetSentPackets(), 1u);
    EXPECT_EQ(mBus.GetReceivedPackets(), 1u);
    mBus.Reset();
    EXPECT_EQ(mBus.GetSentPackets() + mBus.GetReceivedPackets(), 0u);

    mDevice.mCalls.clear();
    mBus.Send(3, 0x10, kBytes, 6, true);
    EXPECT_EQ(mDevice.mCalls.at(0).Get32(0), 6u); // the count itself, whatever the header makes of it
    EXPECT_EQ(mDevice.mCalls.at(0).Get64(16), reinterpret_cast<std::uintptr_t>(kBytes));
}

TEST_F(PtBusPcie, RefusesWhatNoPacketHoldsBeforeTheDriverIsAsked)
{
    const std::uint32_t* const noWords = nullptr;
    const std::uint8_t* const noBytes = nullptr;
    std::uint32_t* const noReply = nullptr;
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"Invalide ptbus payload size", [&] { mBus.Send(1, 0, mWords, 257, true); }},
        {"Invalide ptbus payload size", [&] { mBus.Send(1, 0, mBytes, 1025, true); }},
        {"Invalide ptbus payload size",
         [&] { mBus.Send(1, 0, mWords, 0x40000001, true); }}, // would wrap to 4
        {"Invalide ptbus payload size", [&] { mBus.Request(1, 0, mWords, 257, noReply, 0, true, 10); }},
        {"PtBus Receive: [7][0x00AB]: Packet size too large: 257 words",
         [&] { mBus.Receive(7, 0xAB, mWords, 257, true, 10); }},
        {"PtBus Receive: [7][0x00AB]: Packet size too large: 1025 bytes",
         [&] { mBus.Receive(7, 0xAB, mBytes, 1025, true, 10); }},
        {"PtBus Receive: [7][0x00AB]: Packet size too large: 257 words",
         [&] { mBus.Request(7, 0xAB, noWords, 0, mWords, 257, true, 10); }},
        {"PtBus Request: [7][0x1234]:Request should not read and write in a single transaction, this is a "
         "firmware "
         "limitation",
         [&] { mBus.Request(7, 0x1234, kBytes, 1, mBytes, 1, true, 10); }},
        {"PtBus: [7][0x0004]: No buffer for 3 elements", [&] { mBus.Send(7, 4, noBytes, 3, true); }},
        {"V-sync count value 65535 is out of range", [&] { mBus.WaitOnVsync(65535, 1, false); }},
        {"Not supported", [&] { mBus.DmaSend(1, 0, kBytes, 4, false, nullptr, 0, 0); }},
    };
    for (const auto& [text, call] : cases)
        EXPECT_EQ(MessageOf(call), text);
    EXPECT_TRUE(mDevice.mCalls.empty());
    EXPECT_FALSE(mBus.IsDmaAvailable());
}

TEST_F(PtBusPcie, AsksAgainUntilTheTimeIsUpAndThenOnceMore)
{
    struct SCase
    {
        const char* mName;
        std::deque<int> mPassesMs; // of the failing attempts; then one succeeds
        const char* mText;
    };
    const SCase cases[] = {
        {"at once", {}, ""},
        {"in time", {4, 5}, ""},
        {"at the last try", {4, 6}, ""},
        {"too late", {4, 6, 1}, "PtBus Receive: [5][0x0020]: Timeout[11] waiting reply packet"},
        {"after one long sleep", {500}, ""},
    };
    for (const SCase& test : cases)
    {
        SCOPED_TRACE(test.mName);
        mDevice.mCalls.clear();
        std::deque<int> passes = test.mPassesMs;
        mDevice.mAnswer = [&](unsigned long, unsigned char*)
        {
            if (passes.empty())
                return 0;
            mClock.AdvanceMs(static_cast<std::uint32_t>(passes.front()));
            passes.pop_front();
            return Fail(EAGAIN);
        };
        EXPECT_EQ(MessageOf([&] { mBus.Receive(5, 0x20, mWords, 1, true, 10); }), test.mText);
        EXPECT_TRUE(passes.empty());
        EXPECT_EQ(mDevice.mCalls.size(), test.mPassesMs.size() + (*test.mText == '\0' ? 1 : 0));
    }
}

TEST_F(PtBusPcie, AShortReplyCountsAsNone)
{
    mDevice.mAnswer = [&](unsigned long, unsigned char* record)
    {
        NByteOrder::PutLe32(record, 4);
        return 0;
    };
    EXPECT_EQ(MessageOf([&] { mBus.Receive(5, 0x20, mWords, 2, true, 10); }),
              "PtBus Receive: [5][0x0020]: Timeout[0] waiting reply packet");
    EXPECT_EQ(mDevice.mCalls.size(), 1u); // never asked again: it could be the answer to something else
}

TEST_F(PtBusPcie, ADeviceThatIsGoneIsTold)
{
    mDevice.mAnswer = [](unsigned long, unsigned char*) { return Fail(ENODEV); };
    EXPECT_EQ(MessageOf([&] { mBus.Send(5, 0x20, kWords, 2, true); }),
              "PtBus Send: [5][0x0020]: The driver refused the packet");
    EXPECT_EQ(MessageOf([&] { mBus.WaitOnVsync(0, 1, false); }), "PtBus V-sync counter cannot be read");
}

TEST_F(PtBusPcie, WaitsUntilTheLinkCanSend)
{
    CSteppingClock clock(1000); // each look takes a millisecond
    CPtBusPcie bus(mDevice, clock);
    int readyAt = 50;
    mDevice.mAnswer = [&](unsigned long, unsigned char* record)
    {
        NByteOrder::PutLe32(record + 8, --readyAt <= 0 ? 0xFFFFFFFF : 0xFFFFFFFE);
        return 0;
    };
    bus.Initialize();
    EXPECT_EQ(mDevice.mCalls.size(), 50u);
    EXPECT_EQ(mDevice.mCalls[0].mRequest, 0x80085A06u);
    EXPECT_EQ(mDevice.mCalls[0].Get32(0), 1u); // one register
    EXPECT_EQ(mDevice.mCalls[0].Get32(4), 0u); // number 0

    readyAt = 1000;
    EXPECT_EQ(MessageOf([&] { bus.WaitTxValid(); }), "PtBus send timeout : TX_VALID not up");
}

TEST_F(PtBusPcie, WaitsForVerticalSyncsAcrossTheWrapOfTheCounter)
{
    std::uint32_t counter = 0xABCDFFFE; // the upper half means nothing
    mDevice.mAnswer = [&](unsigned long request, unsigned char* record)
    {
        EXPECT_EQ(request, 0x80085A0Cu);
        NByteOrder::PutLe32(record, counter);
        counter = (counter & 0xFFFF0000) | ((counter + 1) & 0xFFFF);
        return 0;
    };
    EXPECT_EQ(mBus.WaitOnVsync(5, 100, true), 0xFFFE);
    EXPECT_EQ(mDevice.mCalls.size(), 6u);
    EXPECT_EQ(counter & 0xFFFF, 0x0004u);

    mDevice.mCalls.clear();
    EXPECT_EQ(mBus.WaitOnVsync(0, 0, false), 0x0004);
    EXPECT_EQ(mDevice.mCalls.size(), 1u);

    CSteppingClock clock(1000);
    CPtBusPcie bus(mDevice, clock);
    mDevice.mAnswer = [](unsigned long, unsigned char* record)
    {
        NByteOrder::PutLe32(record, 7);
        return 0;
    };
    EXPECT_EQ(MessageOf([&] { bus.WaitOnVsync(65534, 20, false); }), "PtBus WaitOnVsync timeout");
}

TEST_F(PtBusPcie, DmaHasRecordsOfItsOwn)
{
    CPtBusPcieDma bus(mDevice, mClock);
    std::uint32_t status = 0;
    mDevice.mAnswer = [&](unsigned long request, unsigned char* record)
    {
        if (request == 0x80085A06)
            NByteOrder::PutLe32(record + 8, 1);
        if (request == 0x80085A0F)
            NByteOrder::PutLe32(record, status);
        return 0;
    };
    bus.Initialize();
    bus.DmaSend(5, 0x20, mBytes, 8, false, kBytes, 4, 99);
    bus.DmaReset();
    bus.Reset();
    ASSERT_EQ(mDevice.mCalls.size(), 5u);
    EXPECT_EQ(mDevice.mCalls[1].mRequest, 0x40045A0Bu);
    EXPECT_EQ(mDevice.mCalls[1].Get32(0), 1u);
    const auto& send = mDevice.mCalls[2];
    EXPECT_EQ(send.mRequest, 0x40085A0Du);
    EXPECT_EQ(send.Get64(0), reinterpret_cast<std::uintptr_t>(mBytes));
    EXPECT_EQ(send.Get32(8), 8u);
    EXPECT_EQ(send.Get32(12), 5u);
    EXPECT_EQ(send.Get32(16), 0x80000020u);
    EXPECT_EQ(send.Get32(20), 0u);
    EXPECT_EQ(send.Get64(24), reinterpret_cast<std::uintptr_t>(kBytes));
    EXPECT_EQ(send.Get32(32), 4u);
    EXPECT_EQ(mDevice.mCalls[3].mRequest, 0x40085A0Eu);
    EXPECT_EQ(mDevice.mCalls[4].mRequest, 0x40045A0Bu);
    EXPECT_EQ(mDevice.mCalls[4].Get32(0), 0u);

    EXPECT_TRUE(bus.IsDmaAvailable());
    const std::pair<std::uint32_t, bool> states[] = {
        {0, true}, {0x00010000, false}, {0x00020000, false}, {0xFFFCFFFF, true}};
    for (const auto& [value, isReady] : states)
    {
        status = value;
        EXPECT_EQ(bus.IsDmaReady(), isReady) << std::hex << value;
    }
    EXPECT_EQ(MessageOf([&] { bus.DmaSend(5, 0x20, mBytes, 8, true, nullptr, 0, 0); }),
              "Unsupported incrementing address mode");
}
