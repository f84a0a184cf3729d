// The readers, replies and subscriptions that every handler group shares.
#include "software/bp/c4j/CC4jBaseHandler.h"

#include "software/utility/CException.h"
#include "software/utility/CIpcMessage.h"
#include "tests/software/bp/c4j/CC4jRig.h"

#include <gmock/gmock.h>
#include <json/json.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace
{
using CBase = CC4jBaseHandler;

Json::Value Parse(const std::string& text)
{
    Json::Value value;
    EXPECT_TRUE(Json::Reader(Json::Features::all()).parse(text, value)) << text;
    return value;
}

std::string Print(const Json::Value& value)
{
    return Json::Rpc::Handler::GetString(value);
}
} // namespace

TEST(C4jParameters, ArraysAreReadByPlaceAndType)
{
    const Json::Value array = Parse(R"([true, -5, 5, "text", 1.5, 3e9, null])");
    EXPECT_TRUE(CBase::GetBoolFromArray(array, 0));
    EXPECT_EQ(CBase::GetIntFromArray(array, 1), -5);
    EXPECT_EQ(CBase::GetUIntFromArray(array, 2), 5u);
    EXPECT_EQ(CBase::GetStringFromArray(array, 3), "text");
    EXPECT_EQ(CBase::GetUIntFromArray(array, 5), 3000000000u);

    for (Json::ArrayIndex index : {1u, 3u, 6u, 7u, 4000000000u})
    {
        EXPECT_FALSE(CBase::GetBoolFromArray(array, index));
        EXPECT_TRUE(CBase::GetBoolFromArray2(array, index, true));
    }
    for (Json::ArrayIndex index : {0u, 3u, 4u, 5u, 6u, 7u})
    {
        EXPECT_EQ(CBase::GetIntFromArray(array, index), 0);
        EXPECT_EQ(CBase::GetIntFromArray2(array, index, -9), -9);
    }
    EXPECT_EQ(CBase::GetUIntFromArray(array, 1), 0u);
    EXPECT_EQ(CBase::GetUIntFromArray2(array, 1, 9), 9u);
    EXPECT_EQ(CBase::GetStringFromArray(array, 0), "");
    EXPECT_TRUE(CBase::ValueExistInArray(array, 6));
    EXPECT_FALSE(CBase::ValueExistInArray(array, 7));

    for (const char* other : {"{}", "5", "null", "\"text\""})
    {
        EXPECT_EQ(CBase::GetIntFromArray2(Parse(other), 0, 9), 9) << other;
        EXPECT_EQ(CBase::GetStringFromArray(Parse(other), 0), "") << other;
        EXPECT_FALSE(CBase::ValueExistInArray(Parse(other), 0)) << other;
    }
}

TEST(C4jParameters, ObjectsAreReadByNameAndType)
{
    const Json::Value obj = Parse(R"({"b": true, "i": -5, "u": 3000000000, "s": "text", "n": null,
                                      "a": ["x", 5, "y"], "o": {"k": 1}})");
    EXPECT_TRUE(CBase::GetBoolFromObj(obj, "b", false));
    EXPECT_EQ(CBase::GetIntFromObj(obj, "i", 0), -5);
    EXPECT_EQ(CBase::GetIntFromObj(obj, "u", 9), 9);
    EXPECT_EQ(CBase::GetUIntFromObj(obj, "u", 0), 3000000000u);
    EXPECT_EQ(CBase::GetUIntFromObj(obj, "i", 9), 9u);
    EXPECT_EQ(CBase::GetStringFromObj(obj, "s", "none"), "text");
    EXPECT_EQ(CBase::GetStringFromObj(obj, "b", "none"), "none");
    EXPECT_EQ(CBase::GetStringFromObj(obj, "missing", "none"), "none");
    EXPECT_EQ(CBase::GetArrayFromObj(obj, "a").size(), 3u);
    EXPECT_TRUE(CBase::GetArrayFromObj(obj, "o").isNull());
    EXPECT_EQ(CBase::GetObjFromObj(obj, "o").size(), 1u);
    EXPECT_TRUE(CBase::GetObjFromObj(obj, "a").isNull());
    EXPECT_THAT(CBase::GetStringsFromObj(obj, "a"), ElementsAre("x", "y"));
    EXPECT_THAT(CBase::GetStringsFromObj(obj, "s"), ElementsAre("text"));
    EXPECT_THAT(CBase::GetStringsFromObj(obj, "i"), IsEmpty());
    EXPECT_TRUE(CBase::ValueExistInObj(obj, "n"));
    EXPECT_FALSE(CBase::ValueExistInObj(obj, "missing"));
    for (const char* other : {"[1]", "5", "null"})
    {
        EXPECT_FALSE(CBase::ValueExistInObj(Parse(other), "b")) << other;
        EXPECT_EQ(CBase::GetIntFromObj(Parse(other), "i", 9), 9) << other;
    }
}

TEST(C4jParameters, CodesAreStringsInUpperCase)
{
    const std::pair<const char*, const char*> cases[] = {
        {R"(["kst+tlpx", 5])", "KST+TLPX"},
        {R"({"code": "pwr"})", "PWR"},
        {R"([5])", ""},
        {R"({"code": 5})", ""},
        {R"([])", ""},
        {R"("pwr")", ""},
        {R"(["\u00e4b"])", "\u00e4B"}, // what is no code stays as it is
    };
    for (const auto& [params, code] : cases)
        EXPECT_EQ(CBase::GetCodeFromParams(Parse(params)), code) << params;

    std::string untouched = "old";
    EXPECT_FALSE(CBase::ParseCode(Parse("5"), untouched));
    EXPECT_EQ(untouched, "old");
}

TEST(C4jReplies, FollowTheId)
{
    const std::tuple<const char*, bool, unsigned, const char*> cases[] = {
        {R"({"id": 7})", true, 7, R"({"id":7,"jsonrpc":"2.0"})"},
        {R"({"id": -2})", true, 0xFFFFFFFE, R"({"id":-2,"jsonrpc":"2.0"})"},
        {R"({"id": 4000000000})", true, 4000000000, R"({"id":4000000000,"jsonrpc":"2.0"})"},
        {R"({"id": "a"})", true, 0xFFFFFFFF, R"({"id":"a","jsonrpc":"2.0"})"},
        {R"({"id": null})", true, 0xFFFFFFFF, R"({"id":null,"jsonrpc":"2.0"})"},
        {R"({})", false, 0xFFFFFFFF, "null"},
    };
    for (const auto& [text, required, id, begun] : cases)
    {
        SCOPED_TRACE(text);
        const Json::Value request = Parse(text);
        EXPECT_EQ(CBase::IsResponseRequired(request), required);
        EXPECT_EQ(CBase::GetId(request), id);
        Json::Value response("left over");
        CBase::InitResponseObj(request, response);
        EXPECT_EQ(Print(response), begun);
        CBase::MakeErrorResponse(request, response, eErrorTimeout, "");
        EXPECT_EQ(response.isNull(), !required);
        CBase::SetEmptyResult(response);
        EXPECT_EQ(response.isMember("result"), required);
    }
}

TEST(C4jReplies, ErrorsTakeTheTextOfTheirCodeOrTheirOwn)
{
    const Json::Value request = Parse(R"({"id": 1, "params": [{"port": 3}, {"port": -1}, 5]})");
    Json::Value response;
    CBase::InitResponseObj(request, response);
    CBase::SetEmptyResult(response);
    CBase::MakeErrorResponse(request, response, eErrorDisabledControl);
    EXPECT_EQ(Print(response),
              R"({"error":{"code":105,"message":"Disabled Control"},"id":1,"jsonrpc":"2.0"})");
    CBase::MakeErrorResponse(request, response, eErrorDisabledControl, "Why");
    EXPECT_EQ(Print(response), R"({"error":{"code":105,"message":"Why"},"id":1,"jsonrpc":"2.0"})");

    CBase::NewFormatErrorResponse(request, response, eErrorInvalidValue);
    EXPECT_EQ(Print(response["error"]), R"([{"code":104,"message":"Invalid Value","port":3},)"
                                        R"({"code":104,"message":"Invalid Value"},)"
                                        R"({"code":104,"message":"Invalid Value"}])");
    CBase::AppendErrorObjectOct(response, "Bad port", true, 4);
    CBase::AppendErrorObjectOct(response, "Bad place", false, 5);
    EXPECT_EQ(Print(response["error"][3]), R"({"message":"Bad port","port":4})");
    EXPECT_EQ(Print(response["error"][4]), R"({"message":"Bad place","position":5})");

    CBase::NewFormatErrorResponse(Parse(R"({"id": 1, "params": {}})"), response, eErrorInvalidValue);
    EXPECT_EQ(Print(response), R"({"id":1,"jsonrpc":"2.0"})");
    Json::Value none;
    CBase::NewFormatErrorResponse(Parse(R"({"params": [1]})"), none, eErrorInvalidValue);
    EXPECT_TRUE(none.isNull());
}

TEST(C4jCaller, IsKnownByTheIdThatTheTransportSets)
{
    EXPECT_EQ(CBase::GetClientDescriptor(Parse(R"({"fd": 7})")), "JSON_TCP.7");
    EXPECT_EQ(CBase::GetClientIdString(Parse(R"({"fd": 7})")), "JSON_TCP.7");
    EXPECT_EQ(CBase::GetClientFd(Parse(R"({"fd": "7"})")), -1);
    EXPECT_EQ(CBase::GetClientDescriptor(Parse("{}")), "JSON_TCP.-1");
}

TEST(C4jIpcConversion, ParamsBecomeAMessage)
{
    const std::tuple<const char*, const char*, std::size_t, int> cases[] = {
        {R"(["lum", 5])", "65533 65533 LUM 5", 1, 0},
        {R"(["KST+TLPX", -5.9])", "65533 65533 KST+TLPX -5", 1, 0},
        {R"({"code": "LUM", "value": true})", "65533 65533 LUM 1", 1, 0},
        {R"({"code": "LUM", "value": "a b", "modifier": "R"})", "65533 65533 LUM a b", 1, 'R'},
        {R"({"code": "LUM"})", "65533 65533 LUM", 0, 0},
        {R"(["LUM", null])", "65533 65533 LUM", 0, 0},
        {R"({"code": "LUM", "modifier": "M"})", "65533 65533 LUM 0", 1, 'M'},
    };
    for (const auto& [params, text, count, modifier] : cases)
    {
        SCOPED_TRACE(params);
        const CIpcMessage message = CBase::ConvertParamsToIpc(Parse(params));
        EXPECT_EQ(CIpcMessage::GetMsgAsString(message), text);
        EXPECT_EQ(message.GetNumArgs(), count);
        unsigned char found = 0;
        message.GetModifier(0, found);
        EXPECT_EQ(found, modifier);
    }

    const std::pair<const char*, const char*> refused[] = {
        {R"("LUM")", "Unsupported JSON container: 4"},
        {"null", "Unsupported JSON container: 0"},
        {R"(["LUM", [5]])", "Unsupported JSON type: 6 (array)"},
        {R"(["LUM", {}])", "Unsupported JSON type: 7 (object)"},
        {R"(["LUM", 3e9])", "Unsupported JSON type: 3 (real)"},
        {R"({"code": "LUM", "modifier": 5})", "Unsupported JSON type: 1 (integer)"},
        {R"({"code": "LUM", "modifier": "RW"})", "Unsupported JSON type: 4 (string)"},
        {R"(["LUM+TOOLONG"])", "Invalid subcode TOOLONG"},
        {R"(["LU"])", "Invalid code LU"},
    };
    for (const auto& [params, text] : refused)
    {
        SCOPED_TRACE(params);
        try
        {
            CBase::ConvertParamsToIpc(Parse(params));
            ADD_FAILURE() << "converted";
        }
        catch (const CException& exception)
        {
            EXPECT_EQ(exception.GetMessage(), text);
        }
    }
}

TEST(C4jIpcConversion, RepliesBecomeValues)
{
    CIpcMessage reply;
    EXPECT_EQ(Print(CBase::ConvertFromIpcReply(reply)), "null");
    reply.AddArg(3, -12);
    EXPECT_EQ(Print(CBase::ConvertFromIpcReply(reply)), "-12");
    reply.AddArg(1, "12");
    EXPECT_EQ(Print(CBase::ConvertFromIpcReply(reply)), R"(["12",-12])");

    CIpcMessage other;
    other.AddArg(0, "x");
    EXPECT_EQ(Print(CBase::ConvertFromIpcReply(std::list<CIpcMessage>{other})), R"("x")");
    EXPECT_EQ(Print(CBase::ConvertFromIpcReply(std::list<CIpcMessage>{reply, other})), R"([["12",-12],"x"])");
    EXPECT_EQ(Print(CBase::ConvertFromIpcReply(std::list<CIpcMessage>{})), "[]");
}

// --- A group of its own

namespace
{
class CWeather : public CC4jBaseHandler
{
public:
    explicit CWeather(CJsonRpcServer& server)
        : CC4jBaseHandler(server, "weather", 3)
    {
        static constexpr SMethod<CWeather> kMethods[] = {
            {"weather:version", &CWeather::Version},
            {"weather:addListener", &CWeather::AddListener},
            {"weather:removeListener", &CWeather::RemoveListener},
        };
        AddMethods(*this, kMethods);
    }

protected:
    void SendState(const std::string& name, const std::string& descriptor) override
    {
        SendNotification("{\"" + name + "\":1}", {descriptor});
    }
};

class CC4jBaseHandlerTest : public CC4jRig
{
protected:
    CWeather mWeather{mServer};
};
} // namespace

TEST_F(CC4jBaseHandlerTest, AGroupIsAModuleWithItsVersion)
{
    EXPECT_EQ(Run("getModules", ""),
              Result(R"([{"module":"control","version":1},{"module":"weather","version":3}])"));
    EXPECT_EQ(Run("weather:version", ""), Result(R"({"version":3})"));
    EXPECT_EQ(RunSilently("weather:version", "{}"), "");
}

TEST_F(CC4jBaseHandlerTest, ListenersOfNamesGetTheStateUnlessTheyDecline)
{
    CC4jRigClient client(mServer);
    const std::tuple<const char*, const char*, std::vector<std::string>> cases[] = {
        {"addListener", R"({"notifyMethod":"weather:rain"})", {R"({"weather:rain":1})", Result("{}")}},
        {"addListener",
         R"({"notifyMethod":["weather:rain","weather:snow"],"sendNow":true})",
         {R"({"weather:rain":1})", R"({"weather:snow":1})", Result("{}")}},
        {"addListener", R"({"notifyMethod":"weather:rain","sendNow":false})", {Result("{}")}},
        {"removeListener", R"({"notifyMethod":"weather:rain"})", {Result("{}")}},
        {"addListener", "{}", {Error(5, "Too Few Parameters")}},
        {"addListener", R"({"notifyMethod":["weather:rain",""]})", {Error(5, "Too Few Parameters")}},
        {"removeListener", "{}", {Error(5, "Too Few Parameters")}},
    };
    for (const auto& [method, params, messages] : cases)
    {
        SCOPED_TRACE(std::string(method) + params);
        client.Send(Request(std::string("weather:") + method, params));
        EXPECT_EQ(client.Receive(messages.size()), messages);
    }
    const auto subscriptions =
        mDispatcher.GetNotificationManager().GetSubscriptions("JSON_TCP." + std::to_string(client.GetId()));
    EXPECT_THAT(subscriptions, ElementsAre(std::pair<std::string, int>("weather:rain", 2),
                                           std::pair<std::string, int>("weather:snow", 1)));

    EXPECT_EQ(Run("weather:addListener", R"({"notifyMethod":"weather:rain"})", -1),
              Error(5, "Can't find client identifier"));
    EXPECT_EQ(Run("weather:removeListener", R"({"notifyMethod":"weather:rain"})", -1),
              Error(5, "Can't find client identifier"));
}
