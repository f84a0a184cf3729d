// Requests and the exact replies, notifications and log lines that they cause.
#include "software/bp/c4j/CC4jControl.h"

#include "software/bp/serial/CCustomEventHandler.h"
#include "software/utility/CException.h"
#include "software/utility/CIpcMessage.h"
#include "tests/software/bp/c4j/CC4jRig.h"

#include <gmock/gmock.h>
#include <json/json.h>

#include <tuple>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace
{
class CC4jControlTest : public CC4jRig
{
protected:
    CC4jControlTest() { AddControls(); }

    static std::string Notification(const std::string& params)
    {
        return R"({"jsonrpc":"2.0","method":"control:notify","params":)" + params + "}";
    }
};

constexpr char kNotFound[] = R"({"error":{"code":101,"message":"Control Not Found"},"id":1,"jsonrpc":"2.0"})";
constexpr char kBadAccess[] =
    R"({"error":{"code":117,"message":"Invalid Access Group"},"id":1,"jsonrpc":"2.0"})";
constexpr char kBadParameter[] =
    R"({"error":{"code":3,"message":"Invalid Parameter"},"id":1,"jsonrpc":"2.0"})";
constexpr char kBadValue[] = R"({"error":{"code":104,"message":"Invalid Value"},"id":1,"jsonrpc":"2.0"})";
constexpr char kNoClient[] =
    R"({"error":{"code":5,"message":"Can't find client identifier"},"id":1,"jsonrpc":"2.0"})";
} // namespace

// --- Reading

TEST_F(CC4jControlTest, GetAnswersTheValueInTheFormOfItsType)
{
    const std::pair<const char*, std::string> cases[] = {
        {R"(["PWR"])", Result(R"({"value":false})")},
        {R"(["lum"])", Result(R"({"value":900})")},
        {R"({"code":"lum"})", Result(R"({"code":"LUM","value":900})")},
        {R"(["SRC"])", Result(R"({"value":0})")},
        {R"({"code":"NME"})", Result(R"({"code":"NME","value":"Hall"})")},
        {R"(["DAT"])", Result(R"({"value":"2026-01-01"})")},
        {R"(["TIM"])", Result(R"({"value":"03:00:00"})")},
        {R"(["IPA"])", Result(R"({"value":"192.168.1.10"})")},
        {R"(["RST"])", Result(R"({"value":null})")},
        {R"(["mmm+main"])", Result(R"({"value":null})")},
        {R"(["CST"])", Result(R"({"value":null})")},
        {R"({"code":"QQQ"})", kNotFound},
        {R"([5])", kNotFound},
        {R"([])", kNotFound},
        {R"({"code":["LUM"]})", kNotFound},
        {"", kNotFound},
        {R"(["SVO"])", kBadAccess},
    };
    for (const auto& [params, reply] : cases)
    {
        SCOPED_TRACE(params);
        EXPECT_EQ(Run("control:get", params), reply);
        EXPECT_EQ(Run("get", params), reply);
        EXPECT_EQ(RunSilently("get", params), "");
    }
}

TEST_F(CC4jControlTest, ColouredTextsTellTheirColour)
{
    Control("NME").SetColor(0xFF8000);
    EXPECT_EQ(Run("get", R"(["NME"])"), Result(R"({"color":16744448,"value":"Hall"})"));
    Control("LUM").SetColor(0xFF8000);
    EXPECT_EQ(Run("get", R"(["LUM"])"), Result(R"({"value":900})"));
}

TEST_F(CC4jControlTest, ANullIdIsAnIdAndIsEchoed)
{
    EXPECT_EQ(RunText(R"({"jsonrpc":"2.0","id":null,"method":"get","params":["LUM"]})", kSomebody),
              R"({"id":null,"jsonrpc":"2.0","result":{"value":900}})");
    EXPECT_EQ(RunText(R"({"jsonrpc":"2.0","id":"a","method":"control:version"})", kSomebody),
              R"({"id":"a","jsonrpc":"2.0","result":{"version":1}})");
}

TEST_F(CC4jControlTest, PropertiesAreWhatChangesAtRunTime)
{
    const std::pair<const char*, std::string> cases[] = {
        {"PWR", Result(R"({"enabled":true,"max":1,"min":0,"value":false})")},
        {"BRI", Result(R"({"enabled":true,"max":100,"min":-100,"value":0})")},
        {"GAM", Result(R"({"enabled":true,"max":30,"min":10,"softmax":30,"softmin":10,"value":22})")},
        {"LUM", Result(R"({"enabled":true,"max":1000,"min":0,"softmax":950,"softmin":100,)"
                       R"("softvalue":300,"value":900})")},
        {"NME", Result(R"({"enabled":true,"max":8,"min":0,"value":"Hall"})")},
        {"IPA", Result(R"({"enabled":true,"max":15,"min":7,"value":"192.168.1.10"})")},
        {"SRC",
         Result(R"({"enabled":true,"list":[)"
                R"({"enabled":true,"hint":"From the camera","icon":"hdmi.png","idx":0,"text":"HDMI 1"},)"
                R"({"enabled":false,"hint":"","icon":"","idx":3,"text":"SDI"},)"
                R"({"enabled":true,"hint":"","icon":"","idx":4,"text":"Network"}],"value":0})")},
        {"RST", Result(R"({"enabled":true,"value":null})")},
        {"FN1", Result(R"({"enabled":false,"max":5000,"min":0,"value":0})")},
        {"SVO", kBadAccess},
        {"QQQ", kNotFound},
    };
    for (const auto& [code, reply] : cases)
    {
        SCOPED_TRACE(code);
        EXPECT_EQ(Run("control:getProperties", std::string("[\"") + code + "\"]"), reply);
        EXPECT_EQ(Run("getProperties", std::string("{\"code\":\"") + code + "\"}"), reply);
    }
    EXPECT_EQ(RunSilently("getProperties", R"(["LUM"])"), "");
}

TEST_F(CC4jControlTest, AttributesAreWhatStaysAndAreOpenToAll)
{
    const std::pair<const char*, std::string> cases[] = {
        {"LUM",
         Result(R"({"access":2,"decimals":1,"default":900,"icon":"","label":"Light output","type":204})")},
        {"PWR", Result(R"({"access":2,"default":0,"icon":"","label":"","type":100})")},
        {"NME", Result(R"({"access":2,"default":"Hall","icon":"","label":"","type":300})")},
        {"SRC", Result(R"({"access":2,"default":0,"icon":"","label":"","type":400})")},
        {"RST", Result(R"({"access":2,"confirm":"Sure?","default":0,"icon":"","label":"","type":500})")},
        {"MMM+MAIN", Result(R"({"access":2,"default":0,"icon":"menu/main.png","label":"","type":600})")},
        {"SVO", Result(R"({"access":6,"decimals":0,"default":7,"icon":"","label":"","type":200})")},
        {"QQQ", kNotFound},
    };
    for (const auto& [code, reply] : cases)
    {
        SCOPED_TRACE(code);
        EXPECT_EQ(Run("control:getAttributes", std::string("[\"") + code + "\"]"), reply);
        EXPECT_EQ(Run("getAttributes", std::string("{\"code\":\"") + code + "\"}"), reply);
    }
    EXPECT_EQ(RunSilently("getAttributes", R"(["LUM"])"), "");
}

// --- Changing

TEST_F(CC4jControlTest, SetAnswersTheValueAfterTheChange)
{
    const std::tuple<const char*, const char*, const char*, const char*> cases[] = {
        {"PWR", "true", "true", "PWR=1"},
        {"PWR", "0", "false", "PWR=0"},
        {"BRI", "42", "42", "BRI=42"},
        {"BRI", "150", "100", "BRI=100"},
        {"BRI", "1.9", "1", "BRI=1"},
        {"BRI", "-1.9", "-1", "BRI=-1"},
        {"BRI", "true", "1", "BRI=1"},
        {"BRI", "-2147483648.5", "-100", "BRI=-100"},
        {"LUM", "20", "100", "LUM=100"}, // the soft minimum
        {"SRC", "4", "4", "SRC=4"},
        {"NME", R"("T\u00fcr")", R"("T\u00fcr")", "NME=T\u00fcr"},
        {"NME", R"("123456789")", R"("12345678")", "NME=12345678"},
        {"LOC", R"("")", R"("")", "LOC="},
        {"NTE", R"("a\nb")", R"("a\nb")", "NTE=a\nb"},
        {"DAT", R"("2026-02-03")", R"("2026-02-03")", "DAT=2026-02-03"},
        {"TIM", R"("04:00:00")", R"("04:00:00")", "TIM=04:00:00"},
        {"IPA", R"("192.168.001.010")", R"("192.168.1.10")", "IPA=192.168.1.10"},
        {"RST", "0", "null", "RST=0"},
        {"RST", R"("whatever")", "null", "RST=0"},
        {"MMM+MAIN", "1", "null", "MMM+MAIN=0"},
        {"CST", "1", "null", "CST=0"},
    };
    for (const auto& [code, value, after, applied] : cases)
    {
        SCOPED_TRACE(std::string(code) + " " + value);
        const std::string quoted = std::string("\"") + code + "\"";
        mProxy.Take();
        EXPECT_EQ(Run("control:set", "[" + quoted + "," + value + "]"),
                  Result(std::string("{\"value\":") + after + "}"));
        EXPECT_THAT(mProxy.Take(), ElementsAre(applied));
        EXPECT_EQ(Run("set", "{\"code\":" + quoted + ",\"value\":" + value + "}"),
                  Result("{\"code\":" + quoted + ",\"value\":" + after + "}"));
        mProxy.Take();
        EXPECT_EQ(RunSilently("set", "[" + quoted + "," + value + "]"), "");
        EXPECT_THAT(mProxy.Take(), ElementsAre(applied));
    }
    EXPECT_EQ(Run("set", R"(["RST"])"), Result(R"({"value":null})"));
}

TEST_F(CC4jControlTest, RefusedValuesChangeNothing)
{
    const std::string readOnly = Error(105, "This control is read-only");
    const std::string disabled = Error(105, "Disabled Control");
    const std::pair<const char*, std::string> cases[] = {
        {R"(["BRI","5"])", kBadParameter},
        {R"(["BRI",null])", kBadParameter},
        {R"(["BRI",[5]])", kBadParameter},
        {R"(["BRI",{}])", kBadParameter},
        {R"(["BRI"])", kBadParameter},
        {R"({"code":"BRI"})", kBadParameter},
        {R"(["CST","5"])", kBadParameter},
        {R"(["BRI",2147483648])", kBadValue},
        {R"(["BRI",-2147483649])", kBadValue},
        {R"(["BRI",3e9])", kBadValue},
        {R"(["BRI",-1e300])", kBadValue},
        {R"(["BRI",18446744073709551615])", kBadValue},
        {R"(["BRI",99999999999999999999999])", kBadValue},
        {R"(["PWR","true"])", kBadParameter},
        {R"(["SRC",9])", kBadValue},
        {R"(["SRC",3])", disabled},
        {R"(["SRC","HDMI 1"])", kBadParameter},
        {R"(["NME",5])", kBadParameter},
        {R"(["NME",true])", kBadParameter},
        {R"(["NME",null])", kBadParameter},
        {R"(["NME",["x"]])", kBadParameter},
        {R"(["NME","a\u0000b"])", kBadValue},
        {R"(["NME","\udc00"])", kBadValue}, // half a surrogate pair
        {R"(["IPA","256.1.1.1"])", kBadValue},
        {R"(["FN1",5])", readOnly},
        {R"(["SVO",5])", kBadAccess},
        {R"(["QQQ",5])", kNotFound},
        {R"([5,5])", kNotFound},
        {R"({"value":5})", kNotFound},
    };
    for (const auto& [params, reply] : cases)
    {
        SCOPED_TRACE(params);
        EXPECT_EQ(Run("set", params), reply);
        EXPECT_EQ(RunSilently("control:set", params), "");
        EXPECT_THAT(mProxy.Take(), IsEmpty());
    }
    Control("BRI").SetLocked(true);
    EXPECT_EQ(Run("set", R"(["BRI",5])"), disabled);
}

TEST_F(CC4jControlTest, NumbersThatAreNoneNeverReachAControl)
{
    for (const char* value : {"1e400", "-1e400", "NaN", "Infinity"})
    {
        SCOPED_TRACE(value);
        const std::string reply = Run("set", std::string(R"(["BRI",)") + value + "]");
        EXPECT_THAT(reply, ::testing::AnyOf(kBadValue, ::testing::HasSubstr("-32700")));
        EXPECT_THAT(mProxy.Take(), IsEmpty());
    }
}

TEST_F(CC4jControlTest, ARefusalOfTheHardwareIsAnsweredAndTheValueStays)
{
    mProxy.mAccepts = false;
    EXPECT_EQ(Run("set", R"(["BRI",5])"), Error(112, "Failed to set Hardware"));
    EXPECT_EQ(Run("get", R"(["BRI"])"), Result(R"({"value":0})"));
}

TEST_F(CC4jControlTest, ProtectedControlsNeedLevelTwoOrSix)
{
    CC4jRigClient client(mServer);
    const std::pair<int, bool> levels[] = {{0, false}, {1, false}, {2, true}, {3, false}, {6, true}};
    const std::pair<const char*, const char*> uses[] = {
        {"get", R"(["SVO"])"},
        {"set", R"(["SVO",8])"},
        {"getProperties", R"(["SVO"])"},
        {"addListener", R"(["SVO"])"},
    };
    for (const auto& [level, allowed] : levels)
    {
        mServer.SetClientAccessLevel(static_cast<unsigned>(client.GetId()), static_cast<EAccessLevel>(level));
        for (const auto& [method, params] : uses)
        {
            SCOPED_TRACE(std::string(method) + " at level " + std::to_string(level));
            EXPECT_EQ(Run(method, params, client.GetId()) != kBadAccess, allowed);
        }
    }
    EXPECT_EQ(Control("SVO").GetValue(), 8);
}

// --- Custom handlers

namespace
{
/// Remembers what it was asked; answers two numbers and a text, or an error to the value 13.
class CDiagnostics : public CCustomEventHandler
{
public:
    explicit CDiagnostics(CEventDispatcher& dispatcher)
        : CCustomEventHandler(dispatcher, "DGN+TEST", true)
    {
    }
    std::string mAsked;
    bool mAnswers = true;

protected:
    bool HandleIpcCommand(const CIpcMessage& command, CIpcMessage& reply) override
    {
        mAsked = CIpcMessage::GetMsgAsString(command);
        int value = 0;
        if (command.GetArg(0, value) && value == 13)
        {
            reply.AddArg(220, 112);
            reply.AddArg(221, "No bulb");
        }
        else
            reply.AddArg(0, value + 1);
        return mAnswers;
    }
    bool HandleIpcRequest(const CIpcMessage& request, std::list<CIpcMessage>& replies) override
    {
        mAsked = CIpcMessage::GetMsgAsString(request);
        CIpcMessage& reply = replies.emplace_back(request);
        reply.MakeReply(0);
        reply.AddArg(0, 5);
        reply.AddArg(1, "ok");
        return mAnswers;
    }
};
} // namespace

TEST_F(CC4jControlTest, CustomHandlersAnswerForTheirCodes)
{
    CDiagnostics handler(mDispatcher);
    const std::tuple<const char*, const char*, std::string, const char*> cases[] = {
        {"get", R"(["dgn+test"])", Result(R"({"value":[5,"ok"]})"), "65533 65533 DGN+TEST?"},
        {"get", R"({"code":"DGN+TEST","value":"x"})", Result(R"({"code":"DGN+TEST","value":[5,"ok"]})"),
         "65533 65533 DGN+TEST? x"},
        {"set", R"(["DGN+TEST",41.7])", Result(R"({"value":42})"), "65533 65533 DGN+TEST 41"},
        {"set", R"(["DGN+TEST",true])", Result(R"({"value":2})"), "65533 65533 DGN+TEST 1"},
        {"set", R"(["DGN+TEST",13])", Error(112, "No bulb"), "65533 65533 DGN+TEST 13"},
        {"set", R"(["DGN+TEST",3e9])", kBadValue, ""},
        {"set", R"(["DGN+TEST","a\u0000b"])", kBadValue, ""},
        {"set", R"(["DGN+TEST",[1]])", kBadParameter, ""},
        {"set", R"({"code":"DGN+TEST","modifier":"toolong"})", kBadParameter, ""},
    };
    for (const auto& [method, params, reply, asked] : cases)
    {
        SCOPED_TRACE(std::string(method) + params);
        handler.mAsked.clear();
        EXPECT_EQ(Run(method, params), reply);
        EXPECT_EQ(handler.mAsked, asked);
    }
    EXPECT_EQ(RunSilently("set", R"(["DGN+TEST",1])"), "");
    EXPECT_EQ(handler.mAsked, "65533 65533 DGN+TEST 1");

    // One that does not answer leaves the code to the controls.
    handler.mAnswers = false;
    EXPECT_EQ(Run("get", R"(["DGN+TEST"])"), kNotFound);
    EXPECT_EQ(Run("set", R"(["DGN+TEST",1])"), kNotFound);
    mDispatcher.RemoveCustomHandler("DGN+TEST");
}

// --- Log lines

TEST_F(CC4jControlTest, LogLinesNameClientAndCode)
{
    const std::string who = "JSON_TCP.1000007";
    Run("get", R"(["lum"])");
    Run("set", R"(["BRI",5])");
    Run("set", R"(["NME","Hi"])");
    Run("set", R"(["RST"])");
    Run("addListener", R"({"code":["LUM","BRI"]})");
    Run("addListener", R"(["LUM"])");
    Run("removeListener", R"(["LUM"])");
    Run("removeAllListeners", "");
    Run("getListenerList", "");
    for (const std::string& line : {
             "Recv'd 'get' from " + who + ": LUM",
             "Completed 'get' from " + who + ": LUM",
             "Recv'd 'set' from " + who + ": BRI (5)",
             "Completed 'set' from " + who + ": BRI",
             "Recv'd 'set' from " + who + ": NME (Hi)",
             "Recv'd 'set' from " + who + ": RST",
             "Recv'd 'addListener' from " + who + ": LUM BRI (sendnow)",
             "Recv'd 'addListener' from " + who + ": LUM ",
             "Completed 'addListener' from " + who,
             "Recv'd 'removeListener' from " + who + ": LUM",
             "Completed 'removeListener' from " + who,
             "Recv'd 'removeAllListeners' from " + who,
             "Completed 'removeAllListeners' from " + who,
             "Recv'd 'getNotifyList' from " + who,
         })
        EXPECT_TRUE(mLog.Has(ELogLevel::Debug, line)) << line;

    mLog.Clear();
    Run("get", R"(["QQQ"])");
    EXPECT_TRUE(mLog.Has(ELogLevel::Normal, "QQQ NOT FOUND!"));
    EXPECT_FALSE(mLog.Has(ELogLevel::Debug, "Completed 'get' from " + who + ": QQQ"));
    Run("get", R"(["SVO"])");
    EXPECT_TRUE(mLog.Has(ELogLevel::Normal,
                         "Client" + who + " not logged in for executing the protected code: SVO "));
    mLog.Clear();
    RunSilently("get", R"(["LUM"])");
    EXPECT_THAT(mLog.GetLines(), IsEmpty());
}

TEST_F(CC4jControlTest, PoweringOffIsLoggedFirst)
{
    const std::pair<const char*, bool> cases[] = {
        {R"(["PWR",0])", true},    {R"({"code":"pwr","value":0})", true},
        {R"(["PWR","0"])", true},  {R"(["PWR",false])", false},
        {R"(["PWR",1])", false},   {R"(["BRI",0])", false},
        {R"(["PWR",[0]])", false},
    };
    for (const auto& [params, logged] : cases)
    {
        SCOPED_TRACE(params);
        mLog.Clear();
        Run("set", params);
        ASSERT_EQ(mLog.Has(ELogLevel::Normal, "Projector powered off using Web UI."), logged);
        if (logged) // and nothing before it
        {
            EXPECT_EQ(mLog.GetLines().front().mText, "Projector powered off using Web UI.");
        }
    }
}

// --- Subscriptions

TEST_F(CC4jControlTest, ListenersAreCountedPerCode)
{
    const std::string tooFew = Error(5, "Too Few Parameters");
    const std::tuple<const char*, const char*, std::string> steps[] = {
        {"addListener", R"(["lum"])", Result(R"({"count":1})")},
        {"control:addListener", R"(["LUM",false])", Result(R"({"count":2})")},
        {"addListener", R"({"code":["BRI","LUM"],"sendNow":false})", Result(R"({"count":3})")},
        {"getListenerList", "", Result(R"([{"code":"BRI","count":1},{"code":"LUM","count":3}])")},
        {"control:removeListener", R"({"code":["LUM","BRI"]})", Result("{}")},
        {"removeListener", R"(["lum"])", Result("{}")},
        {"removeListener", R"(["QQQ"])", Result("{}")},
        {"getListenerList", R"({"client":"JSON_TCP.1000007"})", Result(R"([{"code":"LUM","count":1}])")},
        // all or nothing
        {"addListener", R"({"code":["BRI","QQQ"],"sendNow":false})", kNotFound},
        {"addListener", R"({"code":["BRI","SVO"],"sendNow":false})", kBadAccess},
        {"addListener", R"({"code":["BRI",5],"sendNow":false})", kNotFound},
        {"addListener", R"({"code":[]})", kNotFound},
        {"addListener", R"(["QQQ"])", kNotFound},
        {"addListener", "", kNotFound},
        {"removeListener", R"({"code":["LUM",5]})", tooFew},
        {"removeListener", "[]", tooFew},
        {"getListenerList", "[]", Result(R"([{"code":"LUM","count":1}])")},
        {"removeAllListeners", "", Result("{}")},
    };
    for (const auto& [method, params, reply] : steps)
    {
        SCOPED_TRACE(std::string(method) + params);
        EXPECT_EQ(Run(method, params), reply);
    }
    RunSilently("addListener", R"(["BRI"])");
    RunSilently("addListener", R"(["BRI"])");
    RunSilently("removeListener", R"(["BRI"])");
    EXPECT_EQ(RunSilently("getListenerList", "{}"), "");
    EXPECT_EQ(Run("getListenerList", ""), Result(R"([{"code":"BRI","count":1}])"));
    RunSilently("removeAllListeners", "{}");
    EXPECT_EQ(Run("getListenerList", ""), kNoClient); // neither connected nor subscribed
}

TEST_F(CC4jControlTest, OnlyClientsSubscribe)
{
    constexpr int kNobody = -1;
    EXPECT_EQ(Run("addListener", R"(["LUM"])", kNobody), kNoClient);
    EXPECT_EQ(Run("removeListener", R"(["LUM"])", kNobody), kNoClient);
    EXPECT_EQ(Run("getListenerList", "", kNobody), kNoClient);
    EXPECT_EQ(Run("getListenerList", R"({"client":"somebody"})"), kNoClient);
    EXPECT_EQ(Run("getListenerList", R"({"client":7})"), kBadParameter);
    EXPECT_THAT(mDispatcher.GetNotificationManager().GetNotifyList("LUM"), IsEmpty());

    CC4jRigClient client(mServer);
    EXPECT_EQ(Run("getListenerList", "", client.GetId()), Result("[]"));
}

TEST_F(CC4jControlTest, AListenerMayAskForTheStateAtOnce)
{
    CC4jRigClient client(mServer);
    const std::string lum =
        Notification(R"({"code":"LUM","enabled":true,"max":1000,"min":0,"softmax":950,"softmin":100,)"
                     R"("softvalue":300,"value":900})");
    const std::string rst = Notification(R"({"code":"RST","enabled":true,"value":null})");
    const std::string src =
        Notification(R"({"code":"SRC","enabled":true,"list":[)"
                     R"({"enabled":true,"hint":"From the camera","icon":"hdmi.png","idx":0,"text":"HDMI 1"},)"
                     R"({"enabled":false,"hint":"","icon":"","idx":3,"text":"SDI"},)"
                     R"({"enabled":true,"hint":"","icon":"","idx":4,"text":"Network"}],"value":0})");
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {R"(["LUM"])", {Result(R"({"count":1})")}},
        {R"(["LUM",true])", {lum, Result(R"({"count":2})")}},
        {R"({"code":"LUM"})", {lum, Result(R"({"count":3})")}},
        {R"({"code":"LUM","sendNow":false})", {Result(R"({"count":4})")}},
        {R"({"code":["RST","SRC"]})", {rst, src, Result(R"({"count":1})")}},
        {R"({"code":["RST","RST"]})", {rst, Result(R"({"count":3})")}}, // two registrations, one state
        {R"({"code":["LUM","QQQ"]})", {kNotFound}},
    };
    for (const auto& [params, messages] : cases)
    {
        SCOPED_TRACE(params);
        client.Send(Request("addListener", params));
        EXPECT_EQ(client.Receive(messages.size()), messages);
    }
}

// --- Notifications

TEST_F(CC4jControlTest, EveryChangeReachesEverySubscriberOnce)
{
    CC4jRigClient watcher(mServer);
    CC4jRigClient actor(mServer);
    CC4jRigClient bystander(mServer);
    watcher.Send(Request("addListener", R"(["BRI"])"));
    watcher.Send(Request("control:addListener", R"(["BRI"])")); // counted, but told once
    ASSERT_EQ(watcher.Receive(2).size(), 2u);

    actor.Send(Request("set", R"(["BRI",5])"));
    EXPECT_THAT(actor.Receive(1), ElementsAre(Result(R"({"value":5})")));
    EXPECT_THAT(watcher.Receive(1), ElementsAre(Notification(R"({"code":"BRI","value":5})")));
    EXPECT_THAT(bystander.Receive(0), IsEmpty());

    actor.Send(Request("set", R"(["BRI",5])")); // nothing changed
    actor.Send(Request("set", R"(["BRI",6])"));
    EXPECT_EQ(actor.Receive(2).size(), 2u);
    EXPECT_THAT(watcher.Receive(1), ElementsAre(Notification(R"({"code":"BRI","value":6})")));

    // On the changing client's own connection the notification stands between the replies.
    watcher.Send(Request("get", R"(["BRI"])") + std::string(1, '\0') + Request("set", R"(["BRI",7])"));
    EXPECT_THAT(watcher.Receive(3),
                ElementsAre(Result(R"({"value":6})"), Notification(R"({"code":"BRI","value":7})"),
                            Result(R"({"value":7})")));
}

TEST_F(CC4jControlTest, ANotificationHasTheMembersOfItsChange)
{
    CC4jRigClient client(mServer);
    for (const char* code : {"PWR", "BRI", "SRC", "NME", "CST", "LUM"})
        Run("addListener", std::string("[\"") + code + "\"]", client.GetId());

    Control("PWR").SetValue(1);
    Control("BRI").SetReserved(true);
    Control("BRI").SetRange(-5, 5);
    Control("LUM").SetSoftValue(400);
    Control("NME").SetText("\"\\\n\u00e9");
    Control("NME").SetColor(7);
    Control("NME").SetText("Red");
    Control("CST").SetValue(3);
    Control("SRC").AddList({{2, 0, 0, true, true, "Only", ""}});
    const std::vector<std::string> received = client.Receive(10);
    EXPECT_THAT(
        received,
        ElementsAre(
            Notification(R"({"code":"PWR","value":true})"), Notification(R"({"code":"BRI","enabled":false})"),
            Notification(R"({"code":"BRI","max":5,"min":-5})"),
            Notification(R"({"code":"LUM","max":1000,"min":0,"softmax":950,"softmin":100,"softvalue":400})"),
            Notification(R"({"code":"NME","value":"\"\\\n\u00e9"})"),
            Notification(R"({"code":"NME","color":7,"value":"Red"})"),
            Notification(R"({"code":"CST","value":null})"), Notification(R"({"code":"SRC","value":2})"),
            Notification(
                R"({"code":"SRC","list":[{"enabled":true,"hint":"","icon":"","idx":2,"text":"Only"}]})")));
    // Printed or written by the library's writer, the bytes are the same.
    for (const std::string& text : received)
    {
        Json::Value value;
        ASSERT_TRUE(Json::Reader().parse(text, value)) << text;
        Json::FastWriter writer;
        writer.omitEndingLineFeed();
        EXPECT_EQ(writer.write(value), text);
    }
}

TEST_F(CC4jControlTest, NobodyIsToldOnceTheGroupHasGone)
{
    CC4jRigClient client(mServer);
    Run("addListener", R"(["BRI"])", client.GetId());
    mControl.reset();
    EXPECT_EQ(Control("BRI").SetValue(5), 0u);
    EXPECT_THAT(client.Receive(0), IsEmpty());
}

// --- The list of controls

TEST_F(CC4jControlTest, ListDescribesControlsByAscendingCode)
{
    EXPECT_EQ(
        Run("control:list", R"({"prefix":"l"})"),
        Result(
            R"([{"access":2,"code":"LOC","decimals":0,"default":"","enabled":true,"help":"","label":"",)"
            R"("list":null,"max":64,"min":0,"persistent":true,"readOnly":false,"type":301,"unit":"","value":""},)"
            R"({"access":2,"code":"LUM","decimals":1,"default":900,"enabled":true,"help":"How bright",)"
            R"("label":"Light output","list":null,"max":1000,"min":0,"persistent":true,"readOnly":false,)"
            R"("type":204,"unit":"%","value":900}])"));
    EXPECT_EQ(Run("control:list", R"({"prefix":"RST"})"),
              Result(R"([{"access":2,"code":"RST","decimals":0,"default":null,"enabled":true,"help":"",)"
                     R"("label":"","list":null,"max":null,"min":null,"persistent":false,"readOnly":false,)"
                     R"("type":500,"unit":"","value":null}])"));
    EXPECT_EQ(Run("control:list", R"({"prefix":"SVO"})"),
              Result(R"([{"access":6,"code":"SVO","decimals":0,"default":7,"enabled":true,"help":"",)"
                     R"("label":"","list":null,"max":50,"min":-50,"persistent":true,"readOnly":false,)"
                     R"("type":200,"unit":"","value":null}])"));

    for (const char* everything : {"", "{}", "[]", "null"})
    {
        SCOPED_TRACE(everything);
        Json::Value reply;
        ASSERT_TRUE(Json::Reader().parse(Run("control:list", everything), reply));
        std::vector<std::string> codes;
        for (const Json::Value& control : reply["result"])
            codes.push_back(control["code"].asString());
        EXPECT_THAT(codes, ElementsAre("BRI", "CST", "DAT", "FN1", "GAM", "IPA", "LOC", "LUM", "MMM+MAIN",
                                       "NME", "NTE", "PWR", "RST", "SRC", "SVO", "TIM"));
    }
    EXPECT_EQ(Run("control:list", R"({"prefix":"ZZ"})"), Result("[]"));
    for (const char* wrong : {R"(["L"])", R"({"prefix":5})", R"({"prefix":null})"})
        EXPECT_EQ(Run("control:list", wrong), kBadParameter) << wrong;
    EXPECT_EQ(RunSilently("control:list", "{}"), "");

    CC4jRigClient client(mServer);
    mServer.SetClientAccessLevel(static_cast<unsigned>(client.GetId()), eAccessProtected);
    EXPECT_THAT(Run("control:list", R"({"prefix":"SVO"})", client.GetId()),
                ::testing::HasSubstr(R"("value":7)"));
    EXPECT_THAT(Run("control:list", R"({"prefix":"SRC"})", client.GetId()),
                ::testing::HasSubstr(
                    R"("list":[{"enabled":true,"hint":"From the camera","icon":"hdmi.png","idx":0,)"));
}

TEST_F(CC4jControlTest, ACodeWhoseControlFailedToConstructIsNoControl)
{
    EXPECT_THROW(AddText(eDisplayIpAddress, "BAD", 0, 0, "999.1.1.1"), CException);
    EXPECT_EQ(Run("get", R"(["BAD"])"), kNotFound);
    EXPECT_EQ(Run("control:list", R"({"prefix":"BAD"})"), Result("[]"));
}
