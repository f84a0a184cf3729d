// Clients of the local IPC and their bytes: cut anywhere, damaged, too many, never read.
#include "tests/software/bp/serial/CIpcFixture.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace
{
class CIpcConnectionTest : public CIpcFixture
{
protected:
    static CIpcMessage SetPower(int value) { return With(Command("PWR"), value); }
    std::string LastLine() const { return mLog.GetLines().empty() ? "" : mLog.GetLines().back().mText; }

    const std::string mPeer = "IPC client pid " + std::to_string(::getpid());
};
} // namespace

TEST_F(CIpcConnectionTest, ItDoesNotMatterHowMessagesAreCut)
{
    const std::string stream = Bytes(SetPower(1)) + Bytes(Request("SRC", 'M')) + Bytes(Request("NME"));
    const auto replies = ElementsAre("PWR! 0=1/3", "SRC! 0=0/3 1=3/3", "NME! 0=\"Hall\"");
    CRawClient client(mServerName);
    for (std::size_t cut = 0; cut <= stream.size(); ++cut)
    {
        SCOPED_TRACE(cut);
        client.Send(stream.substr(0, cut));
        Pump();
        client.Send(stream.substr(cut));
        Pump();
        EXPECT_THAT(client.Take(), replies);
    }
    for (const char byte : stream)
    {
        client.Send(std::string(1, byte));
        Pump();
    }
    EXPECT_THAT(client.Take(), replies);
}

TEST_F(CIpcConnectionTest, TheLongestMessageIsServedWhereverItStarts)
{
    CIpcMessage longest = Command("NME");
    longest.AddArg(0, std::string(4095 - 24 - 5, 'x'));
    CRawClient client(mServerName);
    for (int i = 0; i < 5; ++i)
    {
        client.Send(Bytes(SetPower(1)) + Bytes(longest) + Bytes(longest));
        Pump();
        EXPECT_EQ(client.Take().size(), 3u);
    }
}

TEST_F(CIpcConnectionTest, AStreamThatCanNotBeBelievedIsClosed)
{
    const std::string good = Bytes(SetPower(1));
    const auto damaged = [&](std::size_t at, const std::string& bytes)
    {
        std::string message = good;
        message.replace(at, bytes.size(), bytes);
        return message;
    };
    const struct
    {
        const char* mName;
        std::string mBytes;
        std::string mReason;
    } cases[] = {
        {"magic", damaged(0, "GE"), "a message starts with 47 45"},
        {"text", "GET / HTTP/1.1\r\n\r\n", "a message starts with 47 45"},
        {"length 0", damaged(22, std::string(2, '\0')), "a message starts with FE 13"},
        {"length below the header", damaged(22, std::string("\x17\0", 2)), "header says 23 bytes"},
        {"length above the limit", damaged(22, "\xFF\xFF"), "header says 65535 bytes"},
        {"count too high", damaged(20, std::string("\x02\0", 2)),
         "arguments do not end with the 30 bytes of their message"},
        {"count too low", damaged(20, std::string("\0\0", 2)),
         "arguments do not end with the 30 bytes of their message"},
        {"count far too high", damaged(20, "\xFF\xFF"),
         "arguments do not end with the 30 bytes of their message"},
        {"text without an end", damaged(29, "1"), "arguments do not end with the 30 bytes of their message"},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(row.mName);
        CRawClient client(mServerName);
        CRawClient other(mServerName);
        client.Send(Bytes(Request("PWR")) + row.mBytes + good);
        Pump();
        EXPECT_EQ(LastLine(), mPeer + ": " + row.mReason + "; disconnected");
        EXPECT_THAT(client.Take(), ElementsAre("PWR! 0=0/3")) << "what came before the damage is answered";
        EXPECT_TRUE(client.IsClosed());
        EXPECT_THAT(Ask(other, Request("PWR")), ElementsAre("PWR! 0=0/3"));
    }
}

TEST_F(CIpcConnectionTest, WhoLeavesBeforeTheReplyIsObeyedUnlessHalfTheMessageIsMissing)
{
    const std::string command = Bytes(SetPower(1));
    for (const bool whole : {false, true})
    {
        CRawClient client(mServerName);
        client.Send(command.substr(0, whole ? command.size() : 29));
        client.Close();
        Pump();
        EXPECT_EQ(mPower.GetValue(), whole ? 1 : 0);
    }
    EXPECT_EQ(mLog.GetLines().size(), 1u);
    EXPECT_EQ(LastLine(), mPeer + ": gone in the middle of a message; 29 bytes dropped");
}

TEST_F(CIpcConnectionTest, ANamedClientIsTheSenderOfItsMessages)
{
    CDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const sockaddr_un own = NIpcSocket::MakeAddress(mFolder.File("1_\n_0"));
    ASSERT_EQ(::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&own), sizeof own), 0);
    ASSERT_EQ(NIpcSocket::Connect(socket, mServerName), 0);
    ASSERT_EQ(::send(socket.Get(), "nonsense", 8, MSG_NOSIGNAL), 8);
    Pump();
    EXPECT_EQ(LastLine(),
              "IPC client " + mFolder.File("1_?_0") + ": a message starts with 6E 6F; disconnected");
}

TEST_F(CIpcConnectionTest, AClientThatNeverReadsItsRepliesIsDropped)
{
    mName.SetText(std::string(4000, 'x'));
    CRawClient client(mServerName);
    CRawClient other(mServerName);
    std::string requests;
    for (int i = 0; i < 50; ++i)
        requests += Bytes(Request("NME"));
    std::size_t sent = 0;
    for (int i = 0; i < 100 && mLog.GetLines().empty(); ++i)
    {
        sent += client.Send(requests);
        Pump();
        EXPECT_THAT(Ask(other, Request("PWR")), ElementsAre("PWR! 0=0/3"));
    }
    ASSERT_EQ(mLog.GetLines().size(), 1u);
    EXPECT_THAT(LastLine(),
                ::testing::MatchesRegex(mPeer + ": [0-9]+ bytes of replies not read; disconnected"));
    EXPECT_LT(sent / Bytes(Request("NME")).size() * 4000, 2u << 20)
        << "no more than the limit and the socket";
}

TEST_F(CIpcConnectionTest, RepliesThatWaitArriveInOrder)
{
    mName.SetText(std::string(4000, 'x'));
    CRawClient client(mServerName);
    constexpr int kRequests = 100; // some 400 KB: more than a socket takes, less than the limit
    for (int i = 0; i < kRequests; ++i)
        client.Send(Bytes(SetPower(i % 2)) + Bytes(Request("NME")));
    std::vector<std::string> replies;
    for (int i = 0; i < 100; ++i)
    {
        Pump();
        for (std::string& reply : client.Take())
            replies.push_back(std::move(reply));
    }
    ASSERT_EQ(replies.size(), 2u * kRequests);
    for (std::size_t i = 0; i < replies.size(); i += 2)
        EXPECT_EQ(replies[i], i % 4 == 0 ? "PWR! 0=0/3" : "PWR! 0=1/3");
    EXPECT_THAT(mLog.GetLines(), IsEmpty());
}

// Everybody floods; in every pass each is served about as much as the others.
TEST_F(CIpcConnectionTest, NobodyStarves)
{
    constexpr std::size_t kClients = 50;
    std::vector<std::unique_ptr<CRawClient>> clients;
    for (std::size_t i = 0; i < kClients; ++i)
        clients.push_back(std::make_unique<CRawClient>(mServerName));
    Pump();
    std::string flood;
    for (int i = 0; i < 1000; ++i)
        flood += Bytes(Request("PWR"));
    for (auto& client : clients)
        client->Send(flood);
    std::vector<std::size_t> served(kClients);
    for (int pass = 1; pass <= 4; ++pass)
    {
        mServer->ProcessEvents();
        for (std::size_t i = 0; i < kClients; ++i)
        {
            served[i] += clients[i]->Take().size();
            // 24 bytes each: one read of 4096 bytes a pass
            EXPECT_GE(served[i], static_cast<std::size_t>(pass) * 170) << "client " << i;
            EXPECT_LE(served[i], static_cast<std::size_t>(pass) * 171) << "client " << i;
        }
    }
    CRawClient late(mServerName);
    mServer->ProcessEvents(); // accepts it
    late.Send(Request("PWR"));
    mServer->ProcessEvents();
    EXPECT_THAT(late.Take(), ElementsAre("PWR! 0=0/3")) << "a single request waits for one pass";
}

// The server looks first at a client that asks one thing after another.
TEST_F(CIpcConnectionTest, ASteadyClientDoesNotHoldUpTheOthers)
{
    CRawClient steady(mServerName);
    CRawClient other(mServerName);
    Pump();
    for (int i = 0; i < 20; ++i)
        EXPECT_THAT(Ask(steady, Request("PWR")), ElementsAre("PWR! 0=0/3"));
    other.Send(Request("NME"));
    int passes = 0;
    for (std::vector<std::string> answer; answer.empty() && passes < 100; ++passes)
    {
        steady.Send(Request("PWR"));
        mServer->ProcessEvents();
        answer = other.Take();
    }
    EXPECT_LE(passes, 10);
    Pump();
    steady.Close();
    Pump();
    EXPECT_THAT(Ask(other, Request("PWR")), ElementsAre("PWR! 0=0/3"));
}

TEST_F(CIpcConnectionTest, AMessageMayPumpTheServer)
{
    CRawClient client(mServerName);
    CRawClient other(mServerName);
    other.Send(Request("NME"));
    mProxy.mOnApply = [&](int) { mDispatcher.Update(); };
    EXPECT_THAT(Ask(client, SetPower(1)), ElementsAre("PWR! 0=1/3"));
    EXPECT_THAT(other.Take(), ElementsAre("NME! 0=\"Hall\""));
}
