// Real exchanges between the controller's link and the simulated module, over a real socket.
#include "simulator/CSimulatedModuleServer.h"

#include "cep/CCepLink.h"
#include "software/bp/serial/NIpcSocket.h"
#include "software/utility/CSilentLog.h"
#include "tests/support/CTemporaryFolder.h"

#include <atomic>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <thread>

using namespace LibMarlix;
using EResult = CCepLink::EResult;

namespace
{
constexpr std::chrono::milliseconds kPatience{20'000};
constexpr std::chrono::milliseconds kMoment{50}; // for what will not come

class SimulatedModuleServer : public testing::Test
{
protected:
    ~SimulatedModuleServer() override { Stop(); }

    void Stop()
    {
        mIsEnding = true;
        if (mThread.joinable())
            mThread.join();
        mIsEnding = false;
    }

    /// @param every  see `CSimulatedModuleServer::SFaults`
    void Start(EModuleFault fault = EModuleFault::None, unsigned every = 1)
    {
        mServer.SetFaults({fault, every, std::chrono::milliseconds(1)});
        mThread = std::thread(
            [this]
            {
                while (!mIsEnding)
                    mServer.ProcessEvents(std::chrono::milliseconds(5));
            });
    }

    CDescriptor Connect() const
    {
        CDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        EXPECT_EQ(NIpcSocket::Connect(socket, mFolder.File("module")), 0);
        return socket;
    }

    /// @returns the fan speed that the module tells, 0 without an answer
    unsigned AskForFan(CCepLink& link, EResult expected = EResult::Answered)
    {
        CCepMessage request;
        request.setCommandCode(eCommandGet);
        request.setProperty(17, nullptr, 0, eTypeUInt16);
        std::unique_ptr<CCepMessage> reply;
        EXPECT_EQ(link.request(request, reply, expected == EResult::Answered ? kPatience : kMoment),
                  expected);
        std::uint16_t speed = 0;
        EXPECT_EQ(reply != nullptr && reply->getUInt16(17, speed), expected == EResult::Answered);
        return speed;
    }

    CTemporaryFolder mFolder;
    CSilentLog mLog{CSilentLog::ELines::Composed};
    CSimulatedModuleServer mServer{mFolder.File("module"), mLog};
    std::atomic<bool> mIsEnding{false};
    std::thread mThread;
};
} // namespace

TEST_F(SimulatedModuleServer, GetsAndSetsInBothFormatsAndRefusesWithAReason)
{
    Start();
    CCepLink link(Connect());
    struct SCase
    {
        const char* mWhat;
        std::uint8_t mCommand;
        void (*mFill)(CCepMessage& request);
        unsigned mError;
        std::size_t mKeys;
    };
    const SCase cases[] = {
        {"get all", eCommandGet, [](CCepMessage&) {}, 0, 9},
        {"set two", eCommandSet,
         [](CCepMessage& m)
         {
             m.setUInt16(17, 900);
             m.setString(20, "left");
         },
         0, 2},
        {"unknown key", eCommandGet, [](CCepMessage& m) { m.setUInt8(99, 0); }, 101, 0},
        {"unknown command", 77, [](CCepMessage&) {}, 9, 0},
        {"read-only, so neither is set", eCommandSet,
         [](CCepMessage& m)
         {
             m.setString(1, "x");
             m.setUInt16(17, 1);
         },
         105, 0},
        {"wrong type", eCommandSet, [](CCepMessage& m) { m.setInt16(17, 1); }, 3, 0},
        {"wrong number of elements", eCommandSet,
         [](CCepMessage& m)
         {
             const std::uint16_t gains[2] = {};
             m.setArrayUInt16(19, gains, 2);
         },
         104, 0},
    };
    for (const SCase& c : cases)
    {
        SCOPED_TRACE(c.mWhat);
        CCepMessage request;
        request.setCommandCode(c.mCommand);
        request.setObjectId(7);
        request.setSourceId(1);
        request.setDestinationId(2);
        c.mFill(request);
        std::unique_ptr<CCepMessage> reply;
        ASSERT_EQ(link.request(request, reply, kPatience), EResult::Answered);
        EXPECT_EQ(reply->getErrorCode(), c.mError);
        EXPECT_EQ(reply->getMessageKeyCount(), c.mKeys);
        EXPECT_EQ(reply->getObjectId(), 7);
        EXPECT_EQ(reply->getSourceId(), 2);
        EXPECT_EQ(reply->getDestinationId(), 1);
    }
    EXPECT_EQ(AskForFan(link), 900u);
    CCepMessage untyped;
    untyped.setFormat(eVersion1);
    untyped.setCommandCode(eCommandSet);
    untyped.setUInt16(17, 700);
    std::unique_ptr<CCepMessage> reply;
    ASSERT_EQ(link.request(untyped, reply, kPatience), EResult::Answered);
    EXPECT_EQ(reply->getErrorCode(), 0);
    EXPECT_EQ(reply->getFormat(), eVersion1);
    EXPECT_EQ(AskForFan(link), 700u);
}

TEST_F(SimulatedModuleServer, OneBadReplyCostsAtMostItself)
{
    const std::pair<EModuleFault, EResult> cases[] = {
        // how the request ends whose reply is spoiled
        {EModuleFault::Noise, EResult::Answered}, {EModuleFault::Damage, EResult::NoAnswer},
        {EModuleFault::Cut, EResult::NoAnswer},   {EModuleFault::Silence, EResult::NoAnswer},
        {EModuleFault::Late, EResult::NoAnswer},
    };
    for (const auto& [fault, spoiled] : cases)
    {
        SCOPED_TRACE(CSimulatedModuleServer::GetName(fault));
        Start(fault, 2);
        CCepLink link(Connect());
        for (int round = 0; round < 3; ++round)
        {
            EXPECT_EQ(AskForFan(link), 1800u);
            AskForFan(link, spoiled);
        }
        Stop();
    }
}

TEST_F(SimulatedModuleServer, AFalseLengthHidesAReplyOnlyUntilTheTimeIsOver)
{
    Start(EModuleFault::Stretch);
    CCepLink link(Connect());
    CCepMessage request;
    request.setCommandCode(eCommandGet);
    request.setProperty(17, nullptr, 0, eTypeUInt16);
    std::unique_ptr<CCepMessage> reply;
    EResult result = EResult::NoAnswer; // on a busy machine the module may need longer than that
    for (int i = 0; i < 100 && result == EResult::NoAnswer; ++i)
        result = link.request(request, reply, 2 * kMoment);
    EXPECT_EQ(result, EResult::Answered);
}

TEST_F(SimulatedModuleServer, SurvivesClientsThatBreakTheRules)
{
    Start();
    CCepLink link(Connect());
    const CDescriptor rude = Connect();
    const std::string noise(100'000, '{');
    for (std::size_t at = 0; at < noise.size();)
    {
        const ssize_t sent = ::send(rude.Get(), noise.data() + at, noise.size() - at, MSG_NOSIGNAL);
        ASSERT_GT(sent, 0);
        at += static_cast<std::size_t>(sent);
    }
    EXPECT_EQ(AskForFan(link), 1800u);
    CCepMessage request;
    request.setCommandCode(eCommandGet);
    std::size_t size = 0;
    const std::unique_ptr<unsigned char[]> bytes(request.toBytes(eVersion2, size, true));
    ASSERT_EQ(::send(rude.Get(), bytes.get(), size, MSG_NOSIGNAL), static_cast<ssize_t>(size));
    char answer = 0;
    EXPECT_EQ(::recv(rude.Get(), &answer, 1, 0), 1) << "the noise did not stop its own link either";
}

TEST(CepLink, SaysWhenTheModuleIsGone)
{
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    CCepLink link{CDescriptor(ends[0])};
    ::close(ends[1]);
    CCepMessage request;
    std::unique_ptr<CCepMessage> reply;
    EXPECT_EQ(link.request(request, reply, kPatience), EResult::Lost);
    EXPECT_EQ(link.request(request, reply, kPatience), EResult::Lost);
}
