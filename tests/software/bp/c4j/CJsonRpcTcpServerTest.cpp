// Framing, output and lifetimes of the TCP server, over real sockets.
#include "software/bp/c4j/CJsonRpcTcpServer.h"

#include "software/utility/CException.h"
#include "tests/software/bp/c4j/CJsonRpcFixture.h"
#include "tests/support/CDescriptorLimit.h"

#include <sys/eventfd.h>
#include <sys/time.h>

#include <csignal>
#include <cstring>
#include <deque>
#include <optional>
#include <thread>

namespace
{
constexpr char kParseError[] =
    R"({"error":{"code":-32700,"message":"Parse error"},"id":null,"jsonrpc":"2.0"})";

class CJsonRpcTcpServerTest : public CJsonRpcFixture
{
protected:
    CJsonRpcTcpServerTest() { AddEcho(); }

    /// A method whose every call uses up a quantum.
    void AddSlow()
    {
        AddMethod("slow",
                  [this](const Json::Value& request, Json::Value& response)
                  {
                      ++mSlowCalls;
                      std::this_thread::sleep_for(CJsonRpcTcpServer::kQuantum);
                      response["id"] = request["id"];
                      response["result"] = request["params"];
                  });
    }
    /// Whether a pass waits for something to happen, instead of going on at once with what it has.
    bool IsIdle()
    {
        const auto start = std::chrono::steady_clock::now();
        mServer.WaitMessage(20);
        return std::chrono::steady_clock::now() - start >= std::chrono::milliseconds(19);
    }

    std::string LogLine(const std::string& what, const CRawClient& client, unsigned id)
    {
        return what + " " + client.GetName() + " [ID:" + std::to_string(id) + "]";
    }

    int mSlowCalls = 0;
};

TEST_F(CJsonRpcTcpServerTest, AClientIsKnownFromItsConnectionToItsEnd)
{
    CRawClient client(mServer.GetPort());
    const unsigned id = Accepted(client);
    EXPECT_EQ(mLog.Count(LogLine("Accepted connection from", client, id)), 1u);
    EXPECT_EQ(mServer.GetClientAccessLevel(id), 1);
    EXPECT_TRUE(mServer.SetClientAccessLevel(id, eAccessProtected));
    EXPECT_EQ(mServer.GetClientAccessLevel(id), eAccessProtected);
    EXPECT_EQ(mServer.GetClientAccessLevel(id + 1), 1);
    EXPECT_FALSE(mServer.SetClientAccessLevel(id + 1, eAccessOperator));

    const std::string terminated = LogLine("Terminated connection from", client, id);
    const std::string purging = LogLine("Purging connection from", client, id);
    client.Close();
    EXPECT_TRUE(PumpUntil([&] { return !mServer.IsClientConnected(id); }));
    EXPECT_TRUE(mLog.Has(ELogLevel::Debug, terminated));
    EXPECT_TRUE(mLog.Has(ELogLevel::Debug, purging));

    CRawClient next(mServer.GetPort());
    EXPECT_EQ(Accepted(next), id + 1) << "ids are never used again";
    mLog.Clear();
    mServer.ForceClose(id + 1);
    mServer.ForceClose(id + 1);
    EXPECT_EQ(mLog.Count(LogLine("Force closing connection from", next, id + 1)), 1u);
    EXPECT_EQ(mServer.GetClientCount(), 0u);
    next.Read();
    EXPECT_TRUE(next.HasEnded());
}

TEST_F(CJsonRpcTcpServerTest, MessagesAreAnsweredHoweverTheStreamIsCut)
{
    const std::string stream = WithNul(Request(1, "echo")) + '\0' + WithNul("0") + WithNul("12{}") +
                               WithNul(R"({"jsonrpc":"2.0","method":"echo"})") + WithNul(Request(2, "echo"));
    const std::string replies =
        Echoed(1) + WithNul(kParseError) + WithNul(kParseError) + WithNul(kParseError) + Echoed(2);
    CRawClient client(mServer.GetPort());
    Accepted(client);
    for (std::size_t cut = 0; cut <= stream.size(); ++cut)
    {
        SCOPED_TRACE(cut);
        client.Received().clear();
        ASSERT_TRUE(client.Write(stream.substr(0, cut)));
        mServer.WaitMessage(cut == 0 ? 0 : 1000);
        ASSERT_TRUE(client.Write(stream.substr(cut)));
        ASSERT_TRUE(PumpUntilReceived(client, replies.size()));
        ASSERT_EQ(client.Received(), replies);
    }
}

TEST_F(CJsonRpcTcpServerTest, ByteByByteIsAStreamToo)
{
    CRawClient client(mServer.GetPort());
    Accepted(client);
    for (const char byte : WithNul(Request(1, "echo")))
    {
        ASSERT_TRUE(client.Write(std::string(1, byte)));
        mServer.WaitMessage(1000);
    }
    client.Read();
    EXPECT_EQ(client.Received(), Echoed(1));
}

TEST_F(CJsonRpcTcpServerTest, AMessageMayBeLongButNotEndless)
{
    CRawClient fits(mServer.GetPort());
    const unsigned fitsId = Accepted(fits);
    CRawClient tooLong(mServer.GetPort());
    const unsigned tooLongId = Accepted(tooLong);

    const auto sendAll = [&](CRawClient& client, const std::string& bytes, unsigned id)
    {
        std::size_t sent = 0;
        ASSERT_TRUE(PumpUntil(
            [&]
            {
                const std::size_t chunk = std::min<std::size_t>(4096, bytes.size() - sent);
                if (chunk > 0 && client.Write(bytes.substr(sent, chunk)))
                    sent += chunk;
                return sent == bytes.size() &&
                       (!mServer.IsClientConnected(id) || mServer.GetPendingBytes() == bytes.size());
            }));
    };
    const std::string head = R"({"jsonrpc":"2.0","id":1,"method":"echo","params":[")";
    const std::string longText = head + std::string(500000 - head.size(), 'x');
    sendAll(tooLong, longText + "y", tooLongId);
    EXPECT_FALSE(mServer.IsClientConnected(tooLongId));
    EXPECT_TRUE(mLog.Has(ELogLevel::Normal,
                         LogLine("Terminating connection, bad message framing from", tooLong, tooLongId)));
    EXPECT_EQ(mServer.GetPendingBytes(), 0u);

    sendAll(fits, longText, fitsId);
    EXPECT_TRUE(mServer.IsClientConnected(fitsId));
    ASSERT_TRUE(fits.Write(WithNul("\"]}")));
    ASSERT_TRUE(PumpUntilReceived(fits, 400000));
    EXPECT_TRUE(PumpUntil(
        [&]
        {
            fits.Read();
            return fits.Received().back() == '\0';
        }));
    EXPECT_EQ(mServer.GetPendingBytes(), 0u);
}

TEST_F(CJsonRpcTcpServerTest, AMethodThatThrowsIsAnsweredAndTheConnectionStays)
{
    AddMethod("fail", [](const Json::Value&, Json::Value&) { throw std::runtime_error("broken"); });
    CRawClient client(mServer.GetPort());
    Accepted(client);
    client.Write(WithNul(Request(1, "fail")) + WithNul(Request(2, "echo")));
    const std::string expected =
        WithNul(R"({"error":{"code":-32603,"message":"Internal error"},"id":1,"jsonrpc":"2.0"})") + Echoed(2);
    ASSERT_TRUE(PumpUntilReceived(client, expected.size()));
    EXPECT_EQ(client.Received(), expected);
    EXPECT_TRUE(
        mLog.Has(ELogLevel::Warning, "JSON-RPC method fail failed, answered as an internal error: broken"));
}

TEST_F(CJsonRpcTcpServerTest, AClientThatNeverReadsDelaysNobodyAndIsPurgedAtTheLimit)
{
    AddMethod("big",
              [](const Json::Value& request, Json::Value& response)
              {
                  response["id"] = request["id"];
                  response["result"] = std::string(200000, 'x');
              });
    CRawClient deaf(mServer.GetPort(), 4096);
    const unsigned deafId = Accepted(deaf);
    CRawClient good(mServer.GetPort());
    const unsigned goodId = Accepted(good);

    std::size_t most = 0;
    const std::string name = deaf.GetName();
    ASSERT_TRUE(PumpUntil(
        [&]
        {
            deaf.WriteMessage(Request(1, "big"));
            good.WriteMessage(Request(2, "echo"));
            mServer.WaitMessage(0);
            most = std::max(most, mServer.GetPendingBytes());
            return !mServer.IsClientConnected(deafId);
        }));
    good.Read();
    EXPECT_EQ(good.Received().substr(0, Echoed(2).size()), Echoed(2));
    EXPECT_TRUE(mServer.IsClientConnected(goodId));
    EXPECT_TRUE(mLog.Has(ELogLevel::Debug, "Unable to reply to client " + name +
                                               " [ID:" + std::to_string(deafId) +
                                               "] Resource temporarily unavailable (11)"));
    EXPECT_LE(most, CJsonRpcTcpServer::kMaxOutput);
    EXPECT_GT(most, CJsonRpcTcpServer::kMaxOutput / 2);
    EXPECT_EQ(mServer.GetPendingBytes(), 0u);
}

TEST_F(CJsonRpcTcpServerTest, WhatASlowClientDoesNotTakeAtOnceFollowsInOrder)
{
    int runs = 0;
    AddMethod("big",
              [&runs](const Json::Value& request, Json::Value& response)
              {
                  ++runs;
                  response["id"] = request["id"];
                  response["result"] = std::string(300000, 'x');
              });
    CRawClient client(mServer.GetPort(), 4096);
    const unsigned id = Accepted(client);
    std::string expected;
    std::string requests;
    for (int i = 0; i < 12; ++i)
    {
        requests += WithNul(Request(i, "big"));
        expected +=
            R"({"id":)" + std::to_string(i) + R"(,"result":")" + std::string(300000, 'x') + "\"}" + '\0';
    }
    ASSERT_TRUE(client.Write(requests));
    for (int passes = 0; runs < 12 && passes < 1000; ++passes) // a pass runs what fits into the client's turn
        mServer.WaitMessage(10);
    ASSERT_GT(mServer.GetPendingBytes(), 0u) << "this much must be more than the socket takes";
    // A notification never cuts a reply: it is lost, or, where the system has made room meanwhile, it
    // follows.
    try
    {
        mServer.Send(id, "late");
        expected += WithNul("late");
    }
    catch (const CException& blocked)
    {
        EXPECT_EQ(blocked.GetSystemError(), EAGAIN);
    }

    ASSERT_TRUE(PumpUntilReceived(client, expected.size()));
    EXPECT_EQ(client.Received(), expected);
    EXPECT_EQ(mServer.GetPendingBytes(), 0u);
    client.Received().clear();
    mServer.Send(id, "heard");
    ASSERT_TRUE(PumpUntilReceived(client, 6));
    EXPECT_EQ(client.Received(), WithNul("heard"));
}

TEST_F(CJsonRpcTcpServerTest, ANotificationIsNeverCutButLostWhileAnotherWaits)
{
    CRawClient client(mServer.GetPort(), 4096);
    const unsigned id = Accepted(client);
    const std::string big(8000000, 'n');
    mServer.Send(id, big);
    EXPECT_GT(mServer.GetPendingBytes(), 0u);
    try
    {
        mServer.Send(id, "lost");
        ADD_FAILURE() << "the client takes nothing";
    }
    catch (const CException& failure)
    {
        EXPECT_EQ(failure.GetSystemError(), EAGAIN);
        EXPECT_EQ(failure.GetMessage(),
                  "Unable to send data to client " + client.GetName() + " [ID:" + std::to_string(id) + "]");
    }
    ASSERT_TRUE(PumpUntilReceived(client, big.size() + 1));
    mServer.Send(id, "after");
    ASSERT_TRUE(PumpUntilReceived(client, big.size() + 7));
    EXPECT_TRUE(client.Received() == big + '\0' + "after" + '\0');
}

TEST_F(CJsonRpcTcpServerTest, SendingToNobodyThrows)
{
    try
    {
        mServer.Send(4000000, "text");
        ADD_FAILURE() << "there is no such client";
    }
    catch (const CException& failure)
    {
        EXPECT_EQ(failure.GetMessage(), "Unable to send data to client ID:4000000 (client not found)");
        EXPECT_EQ(failure.GetSystemError(), 0);
    }
}

TEST_F(CJsonRpcTcpServerTest, RepliesOfOneReadLeaveTogetherAndNotificationsKeepTheirPlace)
{
    unsigned id = 0;
    AddMethod("notify",
              [&](const Json::Value& request, Json::Value& response)
              {
                  mServer.Send(id, "note");
                  response["id"] = request["id"];
              });
    CRawClient client(mServer.GetPort());
    id = Accepted(client);
    client.Write(WithNul(Request(1, "echo")) + WithNul(Request(2, "notify")) + WithNul(Request(3, "echo")));
    const std::string expected = Echoed(1) + WithNul("note") + WithNul(R"({"id":2})") + Echoed(3);
    ASSERT_TRUE(PumpUntilReceived(client, expected.size()));
    EXPECT_EQ(client.Received(), expected);
}

TEST_F(CJsonRpcTcpServerTest, AMethodMayCloseAnyClient)
{
    CRawClient first(mServer.GetPort());
    const unsigned firstId = Accepted(first);
    CRawClient second(mServer.GetPort());
    const unsigned secondId = Accepted(second);
    CRawClient third(mServer.GetPort());
    const unsigned thirdId = Accepted(third);
    AddMethod("close",
              [&](const Json::Value& request, Json::Value& response)
              {
                  mServer.ForceClose(request["params"][0].asUInt());
                  mServer.WaitMessage(0); // does nothing here
                  response["id"] = request["id"];
              });
    AddMethod("closeAll",
              [&](const Json::Value&, Json::Value& response)
              {
                  mServer.Close();
                  response["id"] = 1;
              });
    const auto closing = [](unsigned id)
    { return WithNul(Request(9, "close", "[" + std::to_string(id) + "]")); };

    // All three are ready in one pass: the first closes the second, then itself; its last request is dropped.
    first.Write(closing(secondId) + closing(firstId) + closing(thirdId));
    second.WriteMessage(Request(2, "echo"));
    third.WriteMessage(Request(3, "echo"));
    ASSERT_TRUE(PumpUntilReceived(third, Echoed(3).size()));
    EXPECT_EQ(third.Received(), Echoed(3));
    first.Read();
    second.Read();
    EXPECT_EQ(first.Received(), WithNul(R"({"id":9})")) << "what was complete left before the close";
    EXPECT_TRUE(first.HasEnded());
    EXPECT_EQ(second.Received(), "");
    EXPECT_TRUE(second.HasEnded());

    third.Write(WithNul(Request(4, "closeAll")) + WithNul(Request(5, "echo")));
    EXPECT_TRUE(PumpUntil([&] { return mServer.GetClientCount() == 0; }));
    CRawClient next(mServer.GetPort());
    Accepted(next); // it still listens
}

TEST_F(CJsonRpcTcpServerTest, AReplyThatCannotBeWrittenEndsTheConnectionAtTheNextRead)
{
    std::optional<CRawClient> client(mServer.GetPort());
    const unsigned id = Accepted(*client);
    const std::string name = client->GetName();
    AddMethod("hangUp",
              [&](const Json::Value&, Json::Value& response)
              {
                  client->Abort();
                  response["id"] = 1;
              });
    client->WriteMessage(Request(1, "hangUp"));
    ASSERT_TRUE(PumpUntil([&] { return !mServer.IsClientConnected(id); }));
    const std::string start = "Unable to reply to client " + name + " [ID:" + std::to_string(id) + "] ";
    EXPECT_EQ(std::count_if(mLog.GetLines().begin(), mLog.GetLines().end(),
                            [&](const auto& line)
                            { return line.mText.compare(0, start.size(), start) == 0; }),
              1);
}

TEST_F(CJsonRpcTcpServerTest, ObserversHearOfEveryClientThatGoes)
{
    std::vector<unsigned> gone;
    unsigned own = 0;
    own = mServer.AddClientGoneObserver(
        [&](unsigned id)
        {
            EXPECT_FALSE(mServer.IsClientConnected(id));
            gone.push_back(id);
            if (gone.size() == 3)
                mServer.RemoveClientGoneObserver(own);
        });
    mServer.AddClientGoneObserver([](unsigned) { throw std::runtime_error("forgetful"); });
    std::deque<CRawClient> clients;
    std::vector<unsigned> ids;
    for (int i = 0; i < 4; ++i)
    {
        clients.emplace_back(mServer.GetPort());
        ids.push_back(Accepted(clients.back()));
    }
    clients[0].Close();
    EXPECT_TRUE(PumpUntil([&] { return gone.size() == 1; }));
    mServer.ForceClose(ids[1]);
    mServer.Close();
    EXPECT_EQ(gone, (std::vector<unsigned>{ids[0], ids[1], ids[2]}));
    EXPECT_TRUE(mLog.Has(ELogLevel::Error, "Not everything kept for JSON-RPC client [ID:" +
                                               std::to_string(ids[0]) + "] could be dropped: forgetful"));
}

TEST_F(CJsonRpcTcpServerTest, CostlyRequestsOfOneClientTakeTurnsWithTheOthers)
{
    AddSlow();
    std::deque<CRawClient> clients; // both busy ones have a neighbour before and behind them
    for (int i = 0; i < 5; ++i)
    {
        clients.emplace_back(mServer.GetPort());
        Accepted(clients.back());
    }
    std::string requests;
    std::string replies;
    for (int i = 0; i < 4; ++i)
    {
        requests += WithNul(Request(i, "slow"));
        replies += Echoed(i);
    }
    const std::string last = WithNul(Request(9, "echo"));
    for (const std::size_t busy : {1U, 3U})
        ASSERT_TRUE(clients[busy].Write(requests + last.substr(0, 20)));
    for (int pass = 1; pass <= 4; ++pass)
    {
        SCOPED_TRACE(pass);
        for (const std::size_t other : {0U, 2U, 4U})
            ASSERT_TRUE(clients[other].WriteMessage(Request(pass, "echo")));
        mServer.WaitMessage(10000);
        EXPECT_EQ(mSlowCalls, 2 * pass);
        for (const std::size_t other : {0U, 2U, 4U})
        {
            clients[other].Received().clear();
            clients[other].Read();
            EXPECT_EQ(clients[other].Received(), Echoed(pass));
        }
    }
    EXPECT_TRUE(PumpUntil([&] { return mServer.GetPendingBytes() == 40; })) << "the rest is still pending";
    EXPECT_TRUE(IsIdle());
    for (const std::size_t busy : {1U, 3U})
    {
        ASSERT_TRUE(clients[busy].Write(last.substr(20)));
        ASSERT_TRUE(PumpUntilReceived(clients[busy], replies.size() + Echoed(9).size()));
        EXPECT_EQ(clients[busy].Received(), replies + Echoed(9));
    }
}

TEST_F(CJsonRpcTcpServerTest, WhatIsHeldBackIsPendingButNoMessageThatIsTooLong)
{
    AddSlow();
    CRawClient client(mServer.GetPort());
    const unsigned id = Accepted(client);
    const std::string requests = WithNul(Request(1, "slow")) + WithNul(Request(2, "slow"));
    ASSERT_TRUE(client.Write(requests + std::string(1000, 'x')));
    mServer.WaitMessage(10000);
    EXPECT_EQ(mServer.GetPendingBytes(), requests.size() / 2 + 1000);
    mServer.WaitMessage(10000);
    EXPECT_EQ(mServer.GetPendingBytes(), 1000u);

    std::size_t size = 1000;
    ASSERT_TRUE(PumpUntil(
        [&]
        {
            const std::size_t chunk = std::min<std::size_t>(4096, CJsonRpcTcpServer::kMaxPending - size);
            if (chunk > 0 && client.Write(std::string(chunk, 'x')))
                size += chunk;
            return mServer.GetPendingBytes() == CJsonRpcTcpServer::kMaxPending;
        }));
    ASSERT_TRUE(client.Write("x"));
    EXPECT_TRUE(PumpUntil([&] { return !mServer.IsClientConnected(id); }));
}

TEST_F(CJsonRpcTcpServerTest, WhatIsHeldBackGoesWithItsClient)
{
    AddSlow();
    AddMethod("close",
              [&](const Json::Value& request, Json::Value&) { mServer.ForceClose(request["fd"].asUInt()); });
    struct SCase
    {
        const char* mName;
        std::function<void(CRawClient& client, unsigned id)> mEnd;
    };
    const SCase cases[] = {
        {"closed", [&](CRawClient&, unsigned id) { mServer.ForceClose(id); }},
        {"all closed", [&](CRawClient&, unsigned) { mServer.Close(); }},
        {"hung up", [&](CRawClient& client, unsigned) { client.Close(); }},
        {"reset", [&](CRawClient& client, unsigned) { client.Abort(); }},
        {"closed by what was held back", [](CRawClient&, unsigned) {}},
        {"greediest",
         [&](CRawClient&, unsigned id)
         {
             CJsonRpcTcpServer::SLimits limits;
             limits.mMaxPendingBytes = 1;
             mServer.SetLimits(limits);
             mServer.Send(id, std::string(8000000, 'n')); // more than the socket takes
             mServer.SetLimits(CJsonRpcTcpServer::SLimits());
         }},
    };
    for (const SCase& row : cases)
    {
        SCOPED_TRACE(row.mName);
        CRawClient client(mServer.GetPort(), 4096);
        const unsigned id = Accepted(client);
        ASSERT_TRUE(client.Write(WithNul(Request(1, "slow")) + WithNul(Request(2, "slow")) +
                                 WithNul(Request(3, "close")) + WithNul(Request(4, "slow"))));
        mSlowCalls = 0;
        mServer.WaitMessage(10000);
        ASSERT_EQ(mSlowCalls, 1);
        ASSERT_GT(mServer.GetPendingBytes(), 0u);
        row.mEnd(client, id);
        EXPECT_TRUE(PumpUntil([&] { return !mServer.IsClientConnected(id); }));
        EXPECT_LE(mSlowCalls, 2);
        EXPECT_EQ(mServer.GetPendingBytes(), 0u);
        EXPECT_TRUE(IsIdle());
    }
}

TEST_F(CJsonRpcTcpServerTest, AWakeDescriptorEndsTheWait)
{
    const CDescriptor wake(::eventfd(1, EFD_CLOEXEC));
    mServer.AddWakeDescriptor(wake.Get());
    const auto start = std::chrono::steady_clock::now();
    mServer.WaitMessage(10000);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    mServer.RemoveWakeDescriptor(wake.Get());
    const auto again = std::chrono::steady_clock::now();
    mServer.WaitMessage(20);
    EXPECT_GE(std::chrono::steady_clock::now() - again, std::chrono::milliseconds(19));
}

TEST_F(CJsonRpcTcpServerTest, MoreThanAThousandClientsAreServedInOnePassEach)
{
    constexpr std::size_t kClients = 1100;
    const CDescriptorLimit limit(2 * kClients + 200);
    if (!limit.IsSet())
        GTEST_SKIP() << "this account may not open so many descriptors";
    std::deque<CRawClient> clients;
    while (clients.size() < kClients)
    {
        clients.emplace_back(mServer.GetPort());
        if (clients.size() % 100 == 0)
            PumpIdle();
    }
    ASSERT_TRUE(PumpUntil([&] { return mServer.GetClientCount() == kClients; }));
    for (CRawClient& client : clients)
        client.WriteMessage(Request(1, "echo"));
    for (CRawClient& client : clients)
    {
        ASSERT_TRUE(PumpUntilReceived(client, Echoed(1).size()));
        ASSERT_EQ(client.Received(), Echoed(1));
    }
}

TEST_F(CJsonRpcTcpServerTest, IdsBeginAgainWhereTheyAreFree)
{
    std::deque<CRawClient> clients;
    const auto connect = [&](unsigned id)
    {
        clients.emplace_back(mServer.GetPort());
        ASSERT_TRUE(PumpUntil([&] { return mServer.GetClientCount() == clients.size(); }));
        EXPECT_TRUE(mServer.IsClientConnected(id)) << id;
        clients.back().WriteMessage(Request(1, "echo"));
        EXPECT_TRUE(PumpUntilReceived(clients.back(), Echoed(1).size()));
    };
    const unsigned next = SJsonRpcClient::mGlobalId;
    SJsonRpcClient::mGlobalId = 1;
    connect(1);
    connect(2);
    SJsonRpcClient::mGlobalId = 4;
    connect(4);
    SJsonRpcClient::mGlobalId = 2147483646;
    for (const unsigned id : {2147483646U, 2147483647U, 3U, 5U})
        connect(id);
    SJsonRpcClient::mGlobalId = next;
}

TEST_F(CJsonRpcTcpServerTest, TheGreediestClientGoesWhenTooMuchIsPending)
{
    CJsonRpcTcpServer::SLimits limits;
    limits.mMaxPendingBytes = 100000;
    mServer.SetLimits(limits);
    CRawClient modest(mServer.GetPort());
    const unsigned modestId = Accepted(modest);
    CRawClient greedy(mServer.GetPort());
    const unsigned greedyId = Accepted(greedy);
    modest.Write(std::string(30000, ' '));
    ASSERT_TRUE(PumpUntil([&] { return mServer.GetPendingBytes() == 30000; }));
    greedy.Write(std::string(90000, ' '));
    ASSERT_TRUE(PumpUntil([&] { return !mServer.IsClientConnected(greedyId); }));
    EXPECT_TRUE(mServer.IsClientConnected(modestId));
    EXPECT_EQ(mServer.GetPendingBytes(), 30000u);
    ASSERT_TRUE(modest.Write(WithNul(Request(1, "echo"))));
    EXPECT_TRUE(PumpUntilReceived(modest, Echoed(1).size()));
    EXPECT_EQ(modest.Received(), Echoed(1));
    EXPECT_EQ(std::count_if(mLog.GetLines().begin(), mLog.GetLines().end(),
                            [](const auto& line) { return line.mLevel == ELogLevel::Warning; }),
              1);
}

TEST_F(CJsonRpcTcpServerTest, SignalsInterruptNothing)
{
    CRawClient client(mServer.GetPort());
    Accepted(client);
    struct sigaction action
    {
    };
    struct sigaction old
    {
    };
    action.sa_handler = [](int) {};
    ::sigaction(SIGALRM, &action, &old); // without SA_RESTART
    const itimerval often{{0, 1000}, {0, 1000}};
    const itimerval never{};
    ::setitimer(ITIMER_REAL, &often, nullptr);
    for (int i = 0; i < 300; ++i)
    {
        client.Received().clear();
        client.WriteMessage(Request(i, "echo"));
        EXPECT_TRUE(PumpUntilReceived(client, Echoed(i).size()));
        EXPECT_EQ(client.Received(), Echoed(i));
        mServer.WaitMessage(1);
    }
    ::setitimer(ITIMER_REAL, &never, nullptr);
    ::sigaction(SIGALRM, &old, nullptr);
}
} // namespace
