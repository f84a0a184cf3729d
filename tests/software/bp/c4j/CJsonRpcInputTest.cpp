// Requests that are answered later, and batches that take turns, over real connections.
#include "software/bp/c4j/CJsonRpcInput.h"

#include "software/jsonrpc/Ticket.h"
#include "tests/software/bp/c4j/CJsonRpcFixture.h"

#include <deque>
#include <thread>

namespace
{
constexpr char kParseError[] =
    R"({"error":{"code":-32700,"message":"Parse error"},"id":null,"jsonrpc":"2.0"})";

class CJsonRpcInputTest : public CJsonRpcFixture
{
protected:
    CJsonRpcInputTest()
    {
        AddEcho();
        mServer.AddMethod(std::make_unique<Json::Rpc::RpcMethod<CJsonRpcInputTest>>(
                              *this, &CJsonRpcInputTest::Later, "later")
                              .release());
    }

    bool Later(const Json::Value& request, Json::Value&)
    {
        mTickets.push_back(mServer.Defer());
        if (request["params"][0] == "at once")
            mTickets.back().Answer(request["params"]);
        return false;
    }

    bool IsIdle() // a pass waits for something to happen
    {
        const auto start = std::chrono::steady_clock::now();
        mServer.WaitMessage(20);
        return std::chrono::steady_clock::now() - start >= std::chrono::milliseconds(19);
    }
    bool PumpUntilTickets(std::size_t count)
    {
        return PumpUntil([&] { return mTickets.size() == count; });
    }
    static std::string Silent(const std::string& method)
    {
        return R"({"jsonrpc":"2.0","method":")" + method + "\"}";
    }

    std::vector<Json::Rpc::Ticket> mTickets;
};

TEST_F(CJsonRpcInputTest, NothingBehindARequestIsRunBeforeItsReply)
{
    const std::string echo = Request(2, "echo");
    const std::string echoed = Echoed(2);
    struct SCase
    {
        const char* mName;
        std::string mSent;
        std::string mBefore; // what arrives while it waits
        std::string mAfter;
    };
    const SCase cases[] = {
        {"alone", WithNul(Request(1, "later")), "", WithNul("\"reply\"")},
        {"in the same segment", WithNul(echo) + WithNul(Request(1, "later")) + WithNul(echo), echoed,
         WithNul("\"reply\"") + echoed},
        {"in the same batch", WithNul("[" + echo + "," + Request(1, "later") + "," + echo + "]"), "",
         WithNul("[" + echoed.substr(0, echoed.size() - 1) + ",\"reply\"," +
                 echoed.substr(0, echoed.size() - 1) + "]")},
        {"without a reply", WithNul(Silent("later")) + WithNul(echo), "", echoed},
        {"a batch without replies", WithNul("[" + Silent("later") + "]") + WithNul(echo), "", echoed},
        {"with the half of another", WithNul(Request(1, "later")) + echo.substr(0, 9), "",
         WithNul("\"reply\"")},
    };
    CRawClient other(mServer.GetPort());
    Accepted(other);
    for (const SCase& row : cases)
    {
        SCOPED_TRACE(row.mName);
        mTickets.clear();
        CRawClient client(mServer.GetPort());
        Accepted(client);
        ASSERT_TRUE(client.Write(row.mSent));
        ASSERT_TRUE(PumpUntilTickets(1));
        ASSERT_TRUE(client.WriteMessage(Request(3, "echo", "[3]"))); // not even read
        ASSERT_TRUE(other.WriteMessage(echo));
        ASSERT_TRUE(PumpUntilReceived(other, 1));
        EXPECT_EQ(other.Received(), echoed) << "nobody else waits";
        other.Received().clear();
        EXPECT_TRUE(IsIdle());
        client.Read();
        EXPECT_EQ(client.Received(), row.mBefore);

        mTickets[0].Answer("reply");
        const bool isHalf = row.mSent.back() != '\0'; // what follows does not complete it to JSON
        const std::string end = isHalf ? WithNul(kParseError) : Echoed(3, "[3]");
        ASSERT_TRUE(PumpUntilReceived(client, (row.mBefore + row.mAfter + end).size()));
        EXPECT_EQ(client.Received(), row.mBefore + row.mAfter + end);
        EXPECT_TRUE(IsIdle());
        EXPECT_EQ(mServer.GetPendingBytes(), 0u);
    }
}

TEST_F(CJsonRpcInputTest, AnAnswerBeforeTheMethodReturnsCounts)
{
    CRawClient client(mServer.GetPort());
    Accepted(client);
    const std::string request = Request(1, "later", R"(["at once"])");
    ASSERT_TRUE(client.Write(WithNul(request) + WithNul("[" + request + "," + request + "]")));
    const std::string replies = WithNul(R"(["at once"])") + WithNul(R"([["at once"],["at once"]])");
    ASSERT_TRUE(PumpUntilReceived(client, replies.size()));
    EXPECT_EQ(client.Received(), replies);
}

TEST_F(CJsonRpcInputTest, WhoeverGoesWhileHeWaitsIsNoticedAndAnswersNothing)
{
    struct SCase
    {
        const char* mName;
        std::function<void(CRawClient& client, unsigned id)> mEnd;
    };
    const SCase cases[] = {
        {"hung up", [](CRawClient& client, unsigned) { client.Close(); }},
        {"reset", [](CRawClient& client, unsigned) { client.Abort(); }},
        {"sends no more", [](CRawClient& client, unsigned) { ::shutdown(client.GetSocket(), SHUT_WR); }},
        {"closed", [this](CRawClient&, unsigned id) { mServer.ForceClose(id); }},
        {"all closed", [this](CRawClient&, unsigned) { mServer.Close(); }},
    };
    for (const SCase& row : cases)
    {
        for (const char* behind : {"", "with more behind it"})
        {
            SCOPED_TRACE(std::string(row.mName) + behind);
            mTickets.clear();
            CRawClient client(mServer.GetPort());
            const unsigned id = Accepted(client);
            ASSERT_TRUE(client.Write(WithNul(Request(1, "later")) + behind));
            ASSERT_TRUE(PumpUntilTickets(1));
            EXPECT_TRUE(client.Write(behind));
            PumpIdle();
            ASSERT_TRUE(mServer.IsClientConnected(id));
            row.mEnd(client, id);
            EXPECT_TRUE(PumpUntil([&] { return !mServer.IsClientConnected(id); }));
            EXPECT_FALSE(mTickets[0].IsAwaited());
            mTickets[0].Answer("to nobody");
            EXPECT_TRUE(IsIdle());
            EXPECT_EQ(mServer.GetPendingBytes(), 0u);
        }
    }
}

TEST_F(CJsonRpcInputTest, AFloodBehindAWaitingRequestStaysOutside)
{
    CRawClient client(mServer.GetPort());
    Accepted(client);
    ASSERT_TRUE(client.WriteMessage(Request(1, "later")));
    ASSERT_TRUE(PumpUntilTickets(1));
    const std::string params = "[\"" + std::string(50000, 'x') + "\"]";
    std::size_t expected = WithNul("\"reply\"").size();
    for (int i = 0; i < 400 && client.WriteMessage(Request(2, "echo", params)); ++i)
    {
        expected += Echoed(2, params).size();
        mServer.WaitMessage(0);
    }
    EXPECT_LT(mServer.GetPendingBytes(), 10000u);
    mTickets[0].Answer("reply");
    ASSERT_TRUE(PumpUntilReceived(client, expected));
}

TEST_F(CJsonRpcInputTest, AWaitingBatchCountsAgainstTheBudgetOfAll)
{
    CRawClient client(mServer.GetPort());
    const unsigned id = Accepted(client);
    std::string wide = "[" + Request(1, "later") + "," + Request(2, "echo", "[[]");
    wide.resize(wide.size() - 1);
    for (int i = 0; i < 20000; ++i)
        wide += ",[]";
    ASSERT_TRUE(client.WriteMessage(wide + "]}]"));
    ASSERT_TRUE(PumpUntilTickets(1));
    PumpIdle();
    EXPECT_GT(mServer.GetPendingBytes(), 10 * wide.size()) << "parsed, it is larger than its text";
    CJsonRpcTcpServer::SLimits limits;
    limits.mMaxPendingBytes = wide.size();
    mServer.SetLimits(limits);
    CRawClient other(mServer.GetPort());
    Accepted(other);
    ASSERT_TRUE(other.WriteMessage(Request(1, "echo")));
    EXPECT_TRUE(PumpUntil([&] { return !mServer.IsClientConnected(id); }));
    EXPECT_EQ(mServer.GetPendingBytes(), 0u);
}

TEST_F(CJsonRpcInputTest, ALongBatchTakesTurnsWithTheOthers)
{
    int calls = 0;
    AddMethod("slow",
              [&](const Json::Value& request, Json::Value& response)
              {
                  ++calls;
                  std::this_thread::sleep_for(CJsonRpcTcpServer::kQuantum);
                  response["id"] = request["id"];
                  response["result"] = request["params"];
              });
    CRawClient busy(mServer.GetPort());
    Accepted(busy);
    CRawClient other(mServer.GetPort());
    Accepted(other);
    ASSERT_TRUE(busy.Write(
        WithNul("[" + Request(1, "slow") + "," + Request(2, "slow") + "," + Request(3, "slow") + "]") +
        WithNul(Request(4, "slow"))));
    for (int pass = 1; pass <= 4; ++pass)
    {
        SCOPED_TRACE(pass);
        ASSERT_TRUE(other.WriteMessage(Request(pass, "echo")));
        mServer.WaitMessage(10000);
        EXPECT_EQ(calls, pass);
        other.Received().clear();
        other.Read();
        EXPECT_EQ(other.Received(), Echoed(pass));
    }
    const auto text = [](int id) { return Echoed(id).substr(0, Echoed(id).size() - 1); };
    const std::string replies = WithNul("[" + text(1) + "," + text(2) + "," + text(3) + "]") + Echoed(4);
    ASSERT_TRUE(PumpUntilReceived(busy, replies.size()));
    EXPECT_EQ(busy.Received(), replies);
    EXPECT_TRUE(IsIdle());
}
} // namespace
