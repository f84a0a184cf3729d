// The status methods as a client sees them, byte for byte.
#include "software/bp/c4j/CC4jStatus.h"

#include "software/bp/status/CStatusDb.h"
#include "tests/software/bp/c4j/CC4jRig.h"

namespace
{
const std::string kHead = R"({"jsonrpc":"2.0","method":")";
const std::string kFan = R"({"desc":"Fan 1","group":"Fans","idx":0,"status":0,"value":"900 rpm"})";
const std::string kDie = R"({"desc":"Die","group":"Temperature","idx":7,"status":1,"value":"61.0 \u00b0C"})";
const std::string kSupply = R"({"desc":"Supply","group":"Temperature","idx":2,"status":0,"value":""})";
const std::string kSummary = R"([{"group":"Temperature","icon":"heat.png","name":"Heat","status":1},)"
                             R"({"group":"Fans","icon":"","name":"Fans","status":0},)"
                             R"({"group":"Lens","icon":"","name":"Lens","status":0}])";

std::string Pushed(const std::string& method, const std::string& params)
{
    return kHead + method + R"(","params":)" + params + "}";
}

class CC4jStatusTest : public CC4jRig
{
protected:
    CC4jStatusTest()
    {
        mDb.AddGroup("Temperature", "heat.png", "Heat");
        mDb.AddGroup("Fans");
        mDb.AddGroup("Lens");
        mDb.AddItem("Temperature", 2, "Supply", 1);
        mDb.AddItem("Temperature", 7, "Die");
        mDb.AddItem("Fans", 0, "Fan 1");
        mDb.Set("Temperature", 7, eStatusWarning,
                "61.0 \xC2\xB0"
                "C");
        mDb.Set("Fans", 0, eStatusOk, "900 rpm");
    }

    CStatusDb mDb{mLog};
    CC4jStatus mStatus{mServer, mDb};
};

class CRanges : public CC4jStatus::IAdditionalStatusInfoHandler
{
public:
    Json::Value GetRange(const std::string& group) override { return "range of " + group; }
};
} // namespace

TEST_F(CC4jStatusTest, ReadingMethodsAnswer)
{
    CRanges ranges;
    mStatus.AddGroupAdditionalHandler("Temperature", ranges);
    struct SCase
    {
        const char* mMethod;
        const char* mParams;
        std::string mReply;
    };
    const std::string unknownItem = Error(9, "Cannot find status group or item");
    const SCase cases[] = {
        {"status:version", "", Result(R"({"version":1})")},
        {"status:getGroups", "", Result(kSummary)},
        {"status:getItems", R"(["Temperature"])", Result("[" + kDie + "," + kSupply + "]")},
        {"status:getItems", R"({"group":"Fans"})", Result("[" + kFan + "]")},
        {"status:getItems", R"({"group":"Fans","modifier":""})", Result("[" + kFan + "]")},
        {"status:getItems", R"(["Lens"])", Result("[]")},
        {"status:getItems", R"({"group":"Temperature","modifier":"range"})",
         Result(R"("range of Temperature")")},
        {"status:getItems", R"({"group":"Fans","modifier":"range"})",
         Error(9, "Group doesn't support range checking")},
        {"status:getItems", R"({"group":"Fans","modifier":5})", Error(9, "Unknown modifier")},
        {"status:getItems", R"({"group":"Fans","modifier":null})", Error(9, "Unknown modifier")},
        {"status:getItems", R"({"group":"Fans","modifier":"Range"})", Error(9, "Unknown modifier")},
        {"status:getItems", R"({"group":"fans","modifier":5})", Error(9, "Cannot find status group")},
        {"status:getItems", R"(["ALRM"])", Error(9, "Cannot find status group")},
        {"status:getItems", R"([5])", Error(9, "Cannot find status group")},
        {"status:getItems", "", Error(9, "Cannot find status group")},
        {"status:getItem", R"({"group":"Temperature","idx":7})", Result("[" + kDie + "]")},
        {"status:getItem", R"({"group":"Temperature","idx":0})", unknownItem},
        {"status:getItem", R"({"group":"Heat","idx":7})", unknownItem},
        {"status:getItem", R"({"group":"Temperature","idx":"7"})", unknownItem},
        {"status:getItem", R"({"group":"Temperature","idx":3e9})", unknownItem},
        {"status:getItem", R"({"group":"Temperature"})", unknownItem},
        {"status:getItem", R"(["Temperature",7])", unknownItem},
        {"status:getAlarms", "", Result("[" + kDie + "]")},
    };
    for (const SCase& one : cases)
    {
        SCOPED_TRACE(std::string(one.mMethod) + " " + one.mParams);
        EXPECT_EQ(Run(one.mMethod, one.mParams), one.mReply);
        EXPECT_EQ(RunSilently(one.mMethod, one.mParams), "");
    }
    EXPECT_TRUE(mLog.Has(ELogLevel::Debug, "Recv'd 'status:getItems' from JSON_TCP.1000007: Temperature"));
    EXPECT_TRUE(mLog.Has(ELogLevel::Debug, "Completed 'status:getItems' from JSON_TCP.1000007: Temperature"));
}

TEST_F(CC4jStatusTest, ListenersGetTheirStateBeforeTheReply)
{
    CC4jRigClient client(mServer);
    struct SCase
    {
        const char* mMethod;
        const char* mParams;
        std::string mState; // empty: none
    };
    const std::string fans = Pushed("status:notifyItems", "[" + kFan + "]");
    const std::string summary = Pushed("status:groupNotify", kSummary);
    const std::string alarms = Pushed("status:alarmNotify", "[" + kDie + "]");
    const SCase cases[] = {
        {"status:addListener", R"(["Fans"])", fans},
        {"status:addListener", R"(["Fans",false])", ""},
        {"status:addListener", R"({"group":"Fans","sendNow":true})", fans},
        {"status:addListener", R"({"group":["Fans","ALRM","Fans"]})", fans + alarms},
        {"status:addListener", R"({"notifyMethod":["status:notifyGroupSummary","status:notifyAlarms"]})",
         Pushed("status:notifyGroupSummary", kSummary) + Pushed("status:notifyAlarms", "[" + kDie + "]")},
        {"status:addListener", R"(["SUMM"])", summary},
        {"status:addGroupListener", "", summary},
        {"status:addGroupListener", "[true]", summary},
        {"status:addGroupListener", R"({"sendNow":false})", ""},
        {"status:addAlarmListener", R"({"sendNow":true})", alarms},
        {"status:addAlarmListener", "[false]", ""},
    };
    for (const SCase& one : cases)
    {
        SCOPED_TRACE(std::string(one.mMethod) + " " + one.mParams);
        client.Send(Request(one.mMethod, one.mParams));
        std::string received;
        // Each state begins with the same head, and the reply is one more.
        std::size_t count = 1;
        for (std::size_t at = one.mState.find(kHead); at != std::string::npos;
             at = one.mState.find(kHead, at + 1))
            ++count;
        for (const std::string& message : client.Receive(count))
            received += message;
        EXPECT_EQ(received, one.mState + Result("{}"));
    }
    EXPECT_TRUE(mLog.Has(ELogLevel::Debug, "Recv'd 'status:addListener' from JSON_TCP." +
                                               std::to_string(client.GetId()) + ": Fans (sendNow)"));
    EXPECT_TRUE(mLog.Has(ELogLevel::Debug, "Completed 'status:addListener' from JSON_TCP." +
                                               std::to_string(client.GetId()) + ": Fans"));
}

TEST_F(CC4jStatusTest, ListenersThatCanNotBeAreRefused)
{
    const std::string missing = Error(5, "Missing status group");
    const std::string unknown = Error(9, "Cannot find status group");
    const std::pair<const char*, std::string> cases[] = {
        {"", missing},           {"[]", missing},
        {"[5]", missing},        {"{}", missing},
        {R"([""])", missing},    {R"({"group":[]})", missing},
        {R"(["PWR"])", unknown}, {R"({"group":["Fans","fans"]})", unknown},
    };
    CC4jRigClient client(mServer);
    for (const char* method : {"status:addListener", "status:removeListener"})
        for (const auto& [params, reply] : cases)
            EXPECT_EQ(Run(method, params, client.GetId()), reply) << params;
    EXPECT_TRUE(mDispatcher.GetNotificationManager()
                    .GetSubscriptions("JSON_TCP." + std::to_string(client.GetId()))
                    .empty()); // nothing is half done

    for (const char* method :
         {"status:addListener", "status:removeListener", "status:addGroupListener",
          "status:removeGroupListener", "status:addAlarmListener", "status:removeAlarmListener"})
        EXPECT_EQ(Run(method, R"(["Fans"])", -1), Error(5, "Can't find client identifier")) << method;
}

TEST_F(CC4jStatusTest, AChangedItemReachesTheListenersOfItsGroupInAFixedForm)
{
    CC4jRigClient client(mServer);
    client.Send(Request("status:addListener", R"(["Fans",false])"));
    client.Receive(1);
    mDb.Set("Fans", 0, eStatusAlarm, "0 \"rpm\"");
    mDb.Set("Temperature", 2, eStatusAlarm, "99");
    const std::string head = kHead + R"(status:notify","params":[{"idx":0,"group":"Fans","status":)";
    EXPECT_EQ(client.Receive(1), std::vector<std::string>{head + R"(2,"desc":"Fan 1","value":"0 'rpm'"}]})"});

    mStatus.Notify("Fans", 0, "d", 0, "a\"b"); // what the database keeps out would go as it is
    EXPECT_EQ(client.Receive(1), std::vector<std::string>{head + R"(0,"desc":"d","value":"a"b"}]})"});
    mStatus.Notify("Fans", 0, "d", 0, std::string(2000, 'x'));
    EXPECT_EQ(client.Receive(1).at(0).size(), 1023u);

    client.Send(Request("status:removeListener", R"(["Fans"])"));
    client.Receive(1);
    mDb.Set("Fans", 0, eStatusOk, "900 rpm");
    EXPECT_TRUE(client.Receive(0).empty());
}

TEST_F(CC4jStatusTest, TheLongestItemIsSentWhole)
{
    const std::string longGroup(64, 'g');
    mDb.AddGroup(longGroup);
    mDb.AddItem(longGroup, -2147483647 - 1, std::string(999, 'd'));
    CC4jRigClient client(mServer);
    client.Send(Request("status:addListener", "[\"" + longGroup + "\",false]"));
    client.Receive(1);
    mDb.Set(longGroup, -2147483647 - 1, eStatusAlarm, std::string(999, 'v'));
    const std::vector<std::string> received = client.Receive(1);
    ASSERT_EQ(received.size(), 1u);
    EXPECT_LT(received[0].size(), 1023u);
    EXPECT_EQ(received[0].substr(received[0].size() - 6), R"(vv"}]})");
}

TEST_F(CC4jStatusTest, ABurstOfAlarmsIsOneMessageWithTheLatestList)
{
    CC4jRigClient client(mServer);
    client.Send(Request("status:addAlarmListener", "[false]"));
    client.Send(Request("status:addListener", R"({"notifyMethod":"status:notifyAlarms","sendNow":false})"));
    client.Receive(2);
    for (int i = 0; i < 10; ++i) // within 90 ms
    {
        mDb.Set("Fans", 0, i % 2 == 0 ? eStatusAlarm : eStatusOk, std::to_string(i));
        mClock.AdvanceMs(9);
    }
    EXPECT_TRUE(client.Receive(0).empty());
    mClock.AdvanceMs(9);
    EXPECT_TRUE(client.Receive(0).empty()); // 99 ms after the first change
    mClock.AdvanceMs(2);
    EXPECT_EQ(client.Receive(1), std::vector<std::string>{Pushed("status:notifyAlarms", "[" + kDie + "]")});

    mDb.Set("Temperature", 7, eStatusOk, "40");
    mClock.AdvanceMs(101);
    EXPECT_EQ(client.Receive(1), std::vector<std::string>{Pushed("status:notifyAlarms", "[]")});
}

TEST_F(CC4jStatusTest, SummaryListenersAreToldOnceEach)
{
    CC4jRigClient both(mServer);
    CC4jRigClient named(mServer);
    both.Send(Request("status:addGroupListener", "[false]"));
    both.Send(
        Request("status:addListener", R"({"notifyMethod":"status:notifyGroupSummary","sendNow":false})"));
    named.Send(
        Request("status:addListener", R"({"notifyMethod":"status:notifyGroupSummary","sendNow":false})"));
    both.Receive(2);
    named.Receive(1);
    mDb.Set("Temperature", 7, eStatusAlarm, "70"); // from warning to alarm
    std::string summary = kSummary;
    summary.replace(summary.find("1}"), 1, "2");
    EXPECT_EQ(both.Receive(1), std::vector<std::string>{Pushed("status:groupNotify", summary)});
    EXPECT_EQ(named.Receive(1), std::vector<std::string>{Pushed("status:notifyGroupSummary", summary)});
}

TEST_F(CC4jStatusTest, AListenerThatIsGoneIsForgotten)
{
    mDispatcher.GetNotificationManager().NotifyRegister("Fans", "JSON_TCP.999");
    mDb.Set("Fans", 0, eStatusOk, "901 rpm");
    EXPECT_TRUE(mDispatcher.GetNotificationManager().GetSubscriptions("JSON_TCP.999").empty());
}
