// Notifications over sockets: kept connections, full queues, recipients that vanish.
#include "tests/software/bp/serial/CIpcFixture.h"

#include "software/bp/serial/CIpcNotifyServer.h"
#include "software/utility/CException.h"

#include <filesystem>

#include <sys/stat.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace
{
class CIpcNotifierTest : public CIpcFixture
{
protected:
    CIpcNotifierTest() { mClient.Open(); }

    std::string Register(const std::string& address, const std::string& code, char modifier = 'R')
    {
        CIpcMessage message = Command("NOT");
        message.AddArg(0, address);
        message.AddArg(1, code, static_cast<unsigned char>(modifier));
        return HandleOne(message);
    }
    static std::vector<std::string> Take(CIpcNotifyServer& client)
    {
        return ShowCollected([&](auto& notifications) { client.Collect(notifications); });
    }
    static bool IsReadable(const CIpcNotifyServer& client)
    {
        pollfd ready{client.GetDescriptor(), POLLIN, 0};
        return ::poll(&ready, 1, 0) == 1;
    }
    std::size_t Registrations(const std::string& address)
    {
        return mDispatcher.GetNotificationManager().GetSubscriptions(address).size();
    }

    const std::string mAddress = mFolder.File("77_test_0.notify");
    CIpcNotifyServer mClient{mAddress};
};
} // namespace

TEST_F(CIpcNotifierTest, AChangeReachesTheSocketBeforeTheCallReturns)
{
    EXPECT_EQ(Register(mAddress, "PWR"), "NOT!");
    EXPECT_THAT(Take(mClient), IsEmpty());
    EXPECT_FALSE(IsReadable(mClient));
    mPower.SetValue(1);
    EXPECT_TRUE(IsReadable(mClient));
    mPower.SetValue(0);
    EXPECT_THAT(Take(mClient), ElementsAre("PWR 0=1/3", "PWR 0=0/3"));
    EXPECT_EQ(Register(mAddress, "NME", 'W'), "NOT!");
    EXPECT_THAT(Take(mClient), ElementsAre("NME 0=\"Hall\" 240=1/3 241=0/3 242=5000/4 243=0/3"));

    EXPECT_EQ(Register(mAddress, "*", 'U'), "NOT!");
    mPower.SetValue(1);
    EXPECT_THAT(Take(mClient), IsEmpty());
    EXPECT_TRUE(mClient.IsLost()) << "the control process keeps no connection that it does not need";
    Pump();
    EXPECT_FALSE(mLog.Count("Unable to send notification to " + mAddress)) << "nobody was lost";
}

TEST_F(CIpcNotifierTest, AFullSocketGetsTheLatestOfEachKindWhenThereIsRoom)
{
    Register(mAddress, "KST+TLPX");
    Register(mAddress, "PWR");
    constexpr int kChanges = 3000;
    for (int i = 1; i <= kChanges; ++i)
    {
        mKeystone.SetValue(i % 400);
        mKeystone.SetReserved(i % 2 == 1);
        mKeystone.SetReserved(false);
    }
    mPower.SetValue(1);
    std::vector<std::string> told;
    for (int i = 0; i < 100; ++i)
    {
        for (std::string& line : Take(mClient))
            told.push_back(std::move(line));
        Pump();
    }
    ASSERT_LT(told.size(), 3u * kChanges) << "the socket was never full: the test shows nothing";
    ASSERT_GT(told.size(), 3u);
    EXPECT_THAT(
        std::vector<std::string>(told.end() - 3, told.end()),
        ElementsAre("KST+TLPX 240=1/3", "KST+TLPX 0=" + std::to_string(kChanges % 400) + "/3", "PWR 0=1/3"))
        << "in the order of the changes";
    mPower.SetValue(0);
    EXPECT_THAT(Take(mClient), ElementsAre("PWR 0=0/3")) << "after that, directly again";
}

TEST_F(CIpcNotifierTest, WhoIsGoneLosesItsRegistrations)
{
    auto gone = std::make_unique<CIpcNotifyServer>(mFolder.File("78_gone_0.notify"));
    gone->Open();
    const std::string address = gone->GetName();
    const std::string line = "Unable to send notification to " + address;
    Register(address, "PWR");
    Register(address, "NME");
    Register(mAddress, "PWR");
    Take(*gone); // has accepted the connection
    gone.reset();
    Pump(); // finds it out without a change
    EXPECT_EQ(Registrations(address), 0u);
    EXPECT_TRUE(mLog.Has(ELogLevel::Warning, line));

    gone = std::make_unique<CIpcNotifyServer>(address);
    gone->Open();
    Register(address, "PWR");
    Take(*gone);
    gone.reset();
    mPower.SetValue(1); // finds it out by the change
    EXPECT_EQ(Registrations(address), 0u);
    EXPECT_TRUE(mLog.Has(ELogLevel::Warning, line + ". Broken pipe"));
    EXPECT_THAT(Take(mClient), ElementsAre("PWR 0=1/3")) << "the others are told";

    // registered by other means than a message, and never there
    mDispatcher.GetNotificationManager().NotifyRegister("PWR", address);
    mPower.SetValue(0);
    EXPECT_TRUE(mLog.Has(ELogLevel::Warning, line + ". No such file or directory"));
    EXPECT_EQ(Registrations(address), 0u);
}

TEST_F(CIpcNotifierTest, TheRunDirectoryMayHaveSeveralNames)
{
    namespace fs = std::filesystem;
    const CTemporaryFolder other;
    CIpcNotifyServer outside(other.File("77_test_0.notify"));
    outside.Open();
    fs::create_directory(mFolder.File("sub"));
    fs::create_directory_symlink(mFolder.GetPath(), other.File("run"));
    fs::create_directory_symlink(other.GetPath(), mFolder.File("out"));
    fs::create_symlink(outside.GetName(), mFolder.File("78_link_0.notify"));
    const std::string relative = fs::relative(mFolder.GetPath());

    for (const std::string& folder : {other.File("run"), mFolder.File("sub/.."), mFolder.File("out/run"),
                                      mFolder.GetPath() + "/./", relative})
    {
        SCOPED_TRACE(folder);
        EXPECT_EQ(Register(folder + "/77_test_0.notify", "PWR"), "NOT!");
        EXPECT_EQ(Registrations(mAddress), 1u) << "known by one name";
        EXPECT_EQ(Register(folder + "/77_test_0.notify", "*", 'U'), "NOT!");
        EXPECT_EQ(Registrations(mAddress), 0u);
    }
    for (const std::string& address :
         {outside.GetName(), mFolder.File("out/77_test_0.notify"), mFolder.File("78_link_0.notify"),
          mFolder.File("none/../77_test_0.notify"), mFolder.File("sub/77_test_0.notify"),
          mFolder.File("../77_test_0.notify"), std::string("77_test_0.notify")})
        EXPECT_THAT(Register(address, "PWR"), ::testing::HasSubstr("Invalid address " + address));
}

TEST_F(CIpcNotifierTest, ASocketOpenedAgainUnderItsNameIsConnectedToAnew)
{
    Register(mAddress, "PWR");
    {
        CIpcNotifyServer first(mFolder.File("79_again_0.notify"));
        first.Open();
        Register(first.GetName(), "PWR");
    }
    CIpcNotifyServer second(mFolder.File("79_again_0.notify"));
    second.Open();
    EXPECT_EQ(Register(second.GetName(), "PWR"), "NOT!");
    mPower.SetValue(1);
    EXPECT_THAT(Take(second), ElementsAre("PWR 0=1/3"));
    Pump();
    EXPECT_EQ(Registrations(second.GetName()), 1u);
}

TEST_F(CIpcNotifierTest, ARecipientThatSpeaksIsCutOff)
{
    const std::string address = mFolder.File("80_talker_0.notify");
    const CDescriptor listener = NIpcSocket::Listen(address, SOCK_SEQPACKET);
    Register(address, "PWR");
    const CDescriptor connection(::accept(listener.Get(), nullptr, nullptr));
    ASSERT_EQ(::send(connection.Get(), "hello", 5, MSG_NOSIGNAL), 5);
    Pump();
    EXPECT_EQ(Registrations(address), 0u);
}

TEST_F(CIpcNotifierTest, ABusySocketIsConnectedToLater)
{
    // A listener without room for anybody, until its first connection is taken off.
    const std::string address = mFolder.File("81_busy_0.notify");
    CDescriptor listener(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    const sockaddr_un own = NIpcSocket::MakeAddress(address);
    ASSERT_EQ(::bind(listener.Get(), reinterpret_cast<const sockaddr*>(&own), sizeof own), 0);
    ASSERT_EQ(::listen(listener.Get(), 0), 0);
    const CDescriptor blocker(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    ASSERT_EQ(NIpcSocket::Connect(blocker, address), 0);

    EXPECT_EQ(Register(address, "PWR", 'W'), "NOT!") << "nothing is wrong with it";
    mPower.SetValue(1);
    mPower.SetValue(0);
    const CDescriptor taken(::accept(listener.Get(), nullptr, nullptr));
    std::this_thread::sleep_for(std::chrono::milliseconds(110));
    mServer->ProcessEvents();

    const CDescriptor connection(::accept4(listener.Get(), nullptr, nullptr, SOCK_NONBLOCK));
    ASSERT_TRUE(connection.IsOpen());
    std::vector<std::string> told;
    unsigned char packet[4096];
    while (::recv(connection.Get(), packet, sizeof packet, 0) > 0)
    {
        CIpcMessage message;
        message.DeserializeMessage(packet, nullptr);
        told.push_back(Show(message));
    }
    EXPECT_THAT(told, ElementsAre("PWR 0=0/3 240=1/3 241=0/3 242=1/3 243=0/3", "PWR 0=0/3"));
}

TEST_F(CIpcNotifierTest, OnlyMessagesAreTakenFromANotificationSocket)
{
    const CDescriptor stranger(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    ASSERT_EQ(NIpcSocket::Connect(stranger, mAddress), 0);
    const std::string good = Bytes(Message("PWR", 0));
    for (const std::string& packet :
         {good.substr(0, 20), good + "x", std::string(8000, 'x'), std::string("x"), good})
        ::send(stranger.Get(), packet.data(), packet.size(), MSG_NOSIGNAL);
    EXPECT_THAT(Take(mClient), ElementsAre("PWR"));
}

TEST_F(CIpcNotifierTest, ANotificationSocketTakesNothingThatIsInUse)
{
    CIpcNotifyServer second(mAddress);
    EXPECT_THROW(second.Open(), CException);
    EXPECT_EQ(Register(mAddress, "PWR"), "NOT!");
    {
        const CDescriptor left = NIpcSocket::Listen(mFolder.File("82_left_0.notify"), SOCK_SEQPACKET);
    }
    CIpcNotifyServer third(mFolder.File("82_left_0.notify"));
    EXPECT_NO_THROW(third.Open());
    struct stat status
    {
    };
    ASSERT_EQ(::stat(third.GetName().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0660u);
}

TEST_F(CIpcNotifierTest, TheServerTakesItsRegistrationsWithIt)
{
    Register(mAddress, "PWR");
    mServer->AddLocalRecipient([](const CIpcMessage&) {});
    Register("LOCAL.1", "PWR");
    Take(mClient);
    mServer.reset();
    EXPECT_EQ(Registrations(mAddress), 0u);
    EXPECT_EQ(Registrations("LOCAL.1"), 0u);
    mPower.SetValue(1);
    EXPECT_THAT(Take(mClient), IsEmpty());
    EXPECT_TRUE(mClient.IsLost());
}
