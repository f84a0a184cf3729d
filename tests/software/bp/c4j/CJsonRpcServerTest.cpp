// Built-in methods, delivery and coalescing of notifications.
#include "software/bp/c4j/CJsonRpcServer.h"

#include "software/bp/serial/CNotificationManager.h"
#include "software/utility/CException.h"
#include "tests/software/bp/c4j/CJsonRpcFixture.h"

namespace
{
class CJsonRpcServerTest : public CJsonRpcFixture
{
protected:
    CNotificationManager& Subscriptions() { return mDispatcher.GetNotificationManager(); }
    bool IsSubscribed(unsigned id) { return !Subscriptions().GetSubscriptions(Descriptor(id)).empty(); }
};

TEST_F(CJsonRpcServerTest, BuiltInMethodsAnswer)
{
    mServer.RegisterModule("status", 1);
    mServer.RegisterModule("control", 1);
    mServer.RegisterModule("status", 3);
    const std::pair<std::string, std::string> cases[] = {
        {Request(1, "getModules"), R"({"id":1,"jsonrpc":"2.0","result":[{"module":"control","version":1},)"
                                   R"({"module":"status","version":3}]})"},
        {Request(2, "getC4JVersion"), R"({"id":2,"jsonrpc":"2.0","result":2})"},
        {R"({"jsonrpc":"2.0","id":null,"method":"getC4JVersion"})",
         R"({"id":null,"jsonrpc":"2.0","result":2})"},
        {R"({"jsonrpc":"2.0","method":"getModules"})", "null"},
    };
    for (const auto& [request, reply] : cases)
    {
        Json::Value response;
        mServer.ProcessOutOfBandMessage(request, response, 1);
        EXPECT_EQ(Json::Rpc::Handler::GetString(response), reply);
    }
}

TEST_F(CJsonRpcServerTest, AnEmptyListOfModulesIsAnArray)
{
    Json::Value response;
    mServer.ProcessOutOfBandMessage(Request(1, "getModules"), response, 1);
    EXPECT_EQ(Json::Rpc::Handler::GetString(response), R"({"id":1,"jsonrpc":"2.0","result":[]})");
}

TEST_F(CJsonRpcServerTest, RefusesAPortThatIsTaken)
{
    try
    {
        const CJsonRpcServer second(mDispatcher, "127.0.0.1", mServer.GetPort(), mClock, mLog);
        ADD_FAILURE() << "two servers on one port";
    }
    catch (const CException& failure)
    {
        EXPECT_EQ(failure.GetMessage(), "Bind failed");
        EXPECT_EQ(failure.GetSystemError(), EADDRINUSE);
    }
}

TEST_F(CJsonRpcServerTest, AMethodNameThatIsTakenIsLogged)
{
    AddMethod("getModules", [](const Json::Value&, Json::Value&) {});
    EXPECT_TRUE(mLog.Has(ELogLevel::Warning,
                         "JSON-RPC method \"getModules\" is not added: its name is empty or taken"));
}

TEST_F(CJsonRpcServerTest, DescriptorsAreReadExactly)
{
    const std::pair<const char*, unsigned> cases[] = {
        {"JSON_TCP.7", 7},
        {"JSON_TCP.2147483647", 2147483647},
        {"JSON_TCP.-1", 0xFFFFFFFF},
        {"JSON_TCP.-2147483648", 2147483648},
        {"JSON_TCP.", 0xFFFFFFFF},
        {"JSON_TCP.7x", 0xFFFFFFFF},
        {"JSON_TCP.99999999999", 0xFFFFFFFF},
        {"JSON_UDP.7", 0xFFFFFFFF},
        {"", 0xFFFFFFFF},
    };
    for (const auto& [text, id] : cases)
        EXPECT_EQ(CJsonRpcServer::GetJsonClientDescriptorFromString(text), id) << text;
}

TEST_F(CJsonRpcServerTest, ANotificationReachesEveryListedClientAtOnce)
{
    CRawClient first(mServer.GetPort());
    const unsigned firstId = Accepted(first);
    CRawClient second(mServer.GetPort());
    const unsigned secondId = Accepted(second);
    mServer.NotifyPush({"news", {Descriptor(firstId), Descriptor(secondId)}});
    for (CRawClient* client : {&first, &second})
    {
        ASSERT_TRUE(PumpUntilReceived(*client, 5));
        EXPECT_EQ(client->Received(), WithNul("news"));
    }
}

TEST_F(CJsonRpcServerTest, ARecipientThatIsGoneLosesItsSubscriptionsAndNobodyElse)
{
    CRawClient client(mServer.GetPort());
    const unsigned id = Accepted(client);
    Subscriptions().NotifyRegister("PWR", Descriptor(id));
    Subscriptions().NotifyRegister("PWR", "JSON_TCP.4000000");
    Subscriptions().NotifyRegister("LUM", "JSON_TCP.4000000");
    Subscriptions().NotifyRegister("LUM", "JSON_TCP.nonsense");
    mServer.NotifyPush({"news", {"JSON_TCP.4000000", "JSON_TCP.nonsense", Descriptor(id)}});
    EXPECT_FALSE(IsSubscribed(4000000));
    EXPECT_TRUE(Subscriptions().GetSubscriptions("JSON_TCP.nonsense").empty());
    EXPECT_TRUE(IsSubscribed(id));
    EXPECT_EQ(mLog.Count("Can't send notification to unknown client [ID:4000000]"), 1u);
    EXPECT_EQ(mLog.Count("Can't send notification to unknown client [ID:-1]"), 1u);
    ASSERT_TRUE(PumpUntilReceived(client, 5));
    EXPECT_EQ(client.Received(), WithNul("news"));
}

TEST_F(CJsonRpcServerTest, ABlockedClientKeepsItsSubscriptionsAndABrokenOneLosesThem)
{
    CRawClient blocked(mServer.GetPort(), 4096);
    const unsigned blockedId = Accepted(blocked);
    CRawClient broken(mServer.GetPort());
    const unsigned brokenId = Accepted(broken);
    for (const unsigned id : {blockedId, brokenId})
        Subscriptions().NotifyRegister("PWR", Descriptor(id));
    mServer.Send(blockedId, std::string(8000000, 'n'));
    const std::string name = broken.GetName();
    broken.Abort();

    mServer.NotifyPush({"news", {Descriptor(blockedId), Descriptor(brokenId)}});
    EXPECT_TRUE(IsSubscribed(blockedId));
    EXPECT_FALSE(IsSubscribed(brokenId));
    EXPECT_EQ(mLog.Count("Can't send notification to blocked client [ID:" + std::to_string(blockedId) + "]"),
              1u);
    const std::string start = "Can't send notification to client [ID:" + std::to_string(brokenId) + "] - ";
    const std::string reason =
        "Unable to send data to client " + name + " [ID:" + std::to_string(brokenId) + "]";
    EXPECT_TRUE(std::any_of(mLog.GetLines().begin(), mLog.GetLines().end(),
                            [&](const auto& line) {
                                return line.mText.compare(0, start.size(), start) == 0 &&
                                       line.mText.find(reason) != std::string::npos;
                            }));
}

TEST_F(CJsonRpcServerTest, SubscriptionsEndWithTheConnection)
{
    CRawClient leaving(mServer.GetPort());
    const unsigned leavingId = Accepted(leaving);
    CRawClient closed(mServer.GetPort());
    const unsigned closedId = Accepted(closed);
    CRawClient last(mServer.GetPort());
    const unsigned lastId = Accepted(last);
    for (const unsigned id : {leavingId, closedId, lastId})
        Subscriptions().NotifyRegister("PWR", Descriptor(id));

    leaving.Close();
    EXPECT_TRUE(PumpUntil([&] { return !mServer.IsClientConnected(leavingId); }));
    EXPECT_FALSE(IsSubscribed(leavingId));
    mServer.ForceClose(closedId);
    EXPECT_FALSE(IsSubscribed(closedId));
    EXPECT_TRUE(IsSubscribed(lastId));
    mServer.Close();
    EXPECT_FALSE(IsSubscribed(lastId));
}

TEST_F(CJsonRpcServerTest, PushesUnderOneKeyLeaveTogetherOneDelayAfterTheFirst)
{
    CRawClient first(mServer.GetPort());
    const std::string firstName = Descriptor(Accepted(first));
    CRawClient second(mServer.GetPort());
    const std::string secondName = Descriptor(Accepted(second));
    mServer.NotifyPush("b", {"one", {firstName}}, 100);
    mClock.AdvanceMs(60);
    mServer.NotifyPush("b", {"two", {firstName, secondName}}, 5000); // neither timer nor delay change
    mServer.NotifyPush("a", {"other key", {secondName}}, 40);
    mServer.NotifyPush("b", {"three", {secondName}}, 0);
    mClock.AdvanceMs(39);
    mServer.Update();
    second.Read();
    EXPECT_EQ(second.Received(), "");

    mClock.AdvanceMs(1);
    mServer.Update();
    ASSERT_TRUE(PumpUntilReceived(second, 16));
    EXPECT_EQ(second.Received(), WithNul("other key") + WithNul("three")) << "in order of the keys";
    mClock.AdvanceMs(10000);
    mServer.Update();
    first.Read();
    second.Read();
    EXPECT_EQ(first.Received(), "");
    EXPECT_EQ(second.Received().size(), 16u) << "nothing is sent twice";
}

TEST_F(CJsonRpcServerTest, ADelayThatTheClockCannotMeasureIsRefusedAtThePush)
{
    EXPECT_THROW(mServer.NotifyPush("key", {"text", {}}, 0xFFFFFFFF), CException);
    mServer.ProcessMessages();
}

TEST_F(CJsonRpcServerTest, LosingAClientMayCauseFurtherNotifications)
{
    CRawClient client(mServer.GetPort());
    const unsigned id = Accepted(client);
    CRawClient gone(mServer.GetPort());
    const unsigned goneId = Accepted(gone);
    const unsigned observer = mServer.AddClientGoneObserver(
        [&](unsigned lost)
        {
            mServer.NotifyPush("key", {"lost " + std::to_string(lost - goneId), {Descriptor(id)}}, 0);
            mServer.NotifyPush({"at once", {Descriptor(lost), Descriptor(id)}});
        });
    gone.Close();
    const std::string expected = WithNul("at once") + WithNul("lost 0");
    ASSERT_TRUE(PumpUntilReceived(client, expected.size()));
    EXPECT_EQ(client.Received(), expected);
    mServer.RemoveClientGoneObserver(observer);
}
} // namespace
