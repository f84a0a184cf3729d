// The dispatcher against the rules of JSON-RPC 2.0.
#include "software/jsonrpc/Handler.h"

#include "software/jsonrpc/RpcMethod.h"
#include "software/utility/CTurn.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace
{
using Json::Rpc::Handler;

// Methods that show what they were called with.
class CMethods
{
public:
    explicit CMethods(Handler& handler)
        : mHandler(handler)
    {
        Add("echo", &CMethods::Echo);
        Add("fail", &CMethods::Fail);
        Add("later", &CMethods::Later);
        Add("nested", &CMethods::Nested);
        Add("deleteMe", &CMethods::DeleteMe);
    }

    bool Add(const char* name, Json::Rpc::RpcMethod<CMethods>::Function function)
    {
        auto method = std::make_unique<Json::Rpc::RpcMethod<CMethods>>(*this, function, name);
        return mHandler.AddMethod(method.release());
    }

    // Replies to every request, also to one that nobody waits for.
    bool Echo(const Json::Value& request, Json::Value& response)
    {
        ++mCalls;
        response["id"] = request["id"];
        response["result"]["params"] = request["params"];
        response["result"]["fd"] = request["fd"];
        return true;
    }

private:
    bool Fail(const Json::Value&, Json::Value& response)
    {
        response["result"] = "half a reply";
        throw std::runtime_error("broken");
    }
    bool Later(const Json::Value&, Json::Value&)
    {
        mTickets.push_back(mHandler.Defer());
        return false;
    }
    // What a method runs cannot wait, and costs the method nothing of its own right to.
    bool Nested(const Json::Value& request, Json::Value& response)
    {
        mHandler.Process(
            R"([{"jsonrpc":"2.0","id":9,"method":"echo"},{"jsonrpc":"2.0","id":8,"method":"later"}])",
            response, 5);
        mTickets.push_back(mHandler.Defer());
        return !mTickets.back().IsAwaited() || !request.isMember("wait");
    }
    bool DeleteMe(const Json::Value& request, Json::Value& response)
    {
        mHandler.DeleteMethod("deleteMe");
        return Echo(request, response);
    }

    Handler& mHandler;

public:
    int mCalls = 0;
    std::vector<Json::Rpc::Ticket> mTickets; // of those who wait, or waited
};

class HandlerTest : public testing::Test
{
protected:
    // The text of the reply, empty for none.
    std::string Run(const std::string& text)
    {
        Json::Value response("left from before");
        mHandler.Process(text, response, 7);
        return response.isNull() ? std::string() : Handler::GetString(response);
    }

    Handler mHandler;
    CMethods mMethods{mHandler};

    // The same for somebody who can wait.
    std::string Begin(const std::string& text, std::chrono::hours quantum = std::chrono::hours(1))
    {
        Json::Value response("left from before");
        CTurn turn(quantum);
        mExchange = mHandler.Begin(text.data(), text.data() + text.size(), response, 7, turn);
        return response.isNull() ? std::string() : Handler::GetString(response);
    }
    std::string Resume(std::chrono::hours quantum = std::chrono::hours(1))
    {
        Json::Value response("left from before");
        CTurn turn(quantum);
        if (mHandler.Resume(*mExchange, response, turn))
            mExchange.reset();
        return response.isNull() ? std::string() : Handler::GetString(response);
    }

    std::unique_ptr<Json::Rpc::Exchange> mExchange;
};

std::string Error(int code, const std::string& message, const std::string& id)
{
    return R"({"error":{"code":)" + std::to_string(code) + R"(,"message":")" + message + R"("},"id":)" + id +
           R"(,"jsonrpc":"2.0"})";
}
const std::string kParseError = Error(-32700, "Parse error", "null");
std::string InvalidRequest(const std::string& id = "null")
{
    return Error(-32600, "Invalid Request", id);
}
std::string Echoed(const std::string& id)
{
    return R"({"id":)" + id + R"(,"result":{"fd":7,"params":null}})";
}

std::string Deep(int depth)
{
    // The request itself is one level.
    return R"({"jsonrpc":"2.0","id":1,"method":"echo","params":)" +
           std::string(static_cast<std::size_t>(depth - 1), '[') +
           std::string(static_cast<std::size_t>(depth - 1), ']') + "}";
}

TEST_F(HandlerTest, TextThatIsNotJsonIsAParseError)
{
    const std::pair<const char*, std::string> cases[] = {
        {"nothing", ""},
        {"blanks", "  "},
        {"a dollar", "$"},
        {"cut short", R"({"jsonrpc":"2.0","id":1)"},
        {"text behind the value", R"({"jsonrpc":"2.0","id":1,"method":"echo"} {})"},
        {"a member twice", R"({"jsonrpc":"2.0","id":1,"id":2,"method":"echo"})"},
        {"a comment", R"({"jsonrpc":"2.0","id":1,"method":"echo"}/**/)"},
        {"a comma too many", R"({"jsonrpc":"2.0","id":1,"method":"echo",})"},
        {"single quotes", R"({'jsonrpc':"2.0","id":1,"method":"echo"})"},
        {"bytes that are no UTF-8", "{\"jsonrpc\":\"2.0\",\"id\":\"\xC3\x28\",\"method\":\"echo\"}"},
        {"an overlong character", "{\"jsonrpc\":\"2.0\",\"id\":\"\xC0\xAF\",\"method\":\"echo\"}"},
        {"a NUL", std::string("{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"echo\"}\0", 38)},
        {"half a surrogate pair", R"({"jsonrpc":"2.0","id":"\ud800","method":"echo"})"},
        {"a number beyond every range", R"({"jsonrpc":"2.0","id":1e999,"method":"echo"})"},
        {"nested too deep", Deep(Handler::kMaxDepth + 1)},
        {"nested much too deep", std::string(400000, '[')},
    };
    for (const auto& [name, text] : cases)
    {
        SCOPED_TRACE(name);
        EXPECT_EQ(Run(text), kParseError);
    }
    EXPECT_EQ(mMethods.mCalls, 0);
    EXPECT_EQ(Run(R"({"jsonrpc":"2.0","id":1,"method":"echo"})"), Echoed("1")) << "the reader recovers";
}

TEST_F(HandlerTest, TheDeepestTextIsStillRun)
{
    Run(Deep(Handler::kMaxDepth - 1));
    EXPECT_EQ(mMethods.mCalls, 1);
}

TEST_F(HandlerTest, WhatIsNoRequestIsRefusedWithTheIdIfThatIsUsable)
{
    const std::pair<const char*, std::string> cases[] = {
        {"5", "null"},
        {"\"text\"", "null"},
        {"null", "null"},
        {"true", "null"},
        {"{}", "null"},
        {R"({"jsonrpc":"2.0"})", "null"},
        {R"({"id":1,"method":"echo"})", "1"},
        {R"({"jsonrpc":"1.0","id":"a","method":"echo"})", R"("a")"},
        {R"({"jsonrpc":2.0,"id":1,"method":"echo"})", "1"},
        {R"({"jsonrpc":"2.0","id":1})", "1"},
        {R"({"jsonrpc":"2.0","id":1,"method":5})", "1"},
        {R"({"jsonrpc":"2.0","method":null})", "null"},
        {R"({"jsonrpc":"2.0","id":{},"method":"echo"})", "null"},
        {R"({"jsonrpc":"2.0","id":[1],"method":"echo"})", "null"},
        {R"({"jsonrpc":"2.0","id":true,"method":"echo"})", "null"},
        {"[]", "null"},
    };
    for (const auto& [text, id] : cases)
    {
        SCOPED_TRACE(text);
        EXPECT_EQ(Run(text), InvalidRequest(id));
    }
    EXPECT_EQ(mMethods.mCalls, 0);
}

TEST_F(HandlerTest, TheIdComesBackWithItsType)
{
    for (const std::string id : {"1", "-1", "\"1\"", "\"\"", "null", "18446744073709551615", "1.5"})
    {
        SCOPED_TRACE(id);
        EXPECT_EQ(Run(R"({"jsonrpc":"2.0","id":)" + id + R"(,"method":"echo"})"), Echoed(id));
    }
}

TEST_F(HandlerTest, ACallerCannotPoseAsAnother)
{
    EXPECT_EQ(Run(R"({"jsonrpc":"2.0","fd":1,"id":1,"method":"echo"})"), Echoed("1"));
    EXPECT_EQ(Run(R"([{"jsonrpc":"2.0","fd":1,"id":1,"method":"echo"}])"), "[" + Echoed("1") + "]");
}

TEST_F(HandlerTest, ARequestWithoutIdIsNeverAnswered)
{
    EXPECT_EQ(Run(R"({"jsonrpc":"2.0","method":"echo"})"), "");
    EXPECT_EQ(mMethods.mCalls, 1);
    EXPECT_EQ(Run(R"({"jsonrpc":"2.0","method":"unknown"})"), "");
    EXPECT_EQ(Run(R"({"jsonrpc":"2.0","method":"fail"})"), "");
}

TEST_F(HandlerTest, AnUnknownMethodAndAFailingOneAreErrors)
{
    std::vector<std::string> failures;
    mHandler.SetFailureObserver([&](const std::string& method, const char* text)
                                { failures.push_back(method + ": " + text); });
    EXPECT_EQ(Run(R"({"jsonrpc":"2.0","id":"x","method":"unknown"})"),
              Error(-32601, "Method not found", "\"x\""));
    EXPECT_EQ(Run(R"({"jsonrpc":"2.0","id":"x","method":""})"), Error(-32601, "Method not found", "\"x\""));
    EXPECT_EQ(Run(R"({"jsonrpc":"2.0","id":3,"method":"fail"})"), Error(-32603, "Internal error", "3"));
    EXPECT_EQ(failures, std::vector<std::string>{"fail: broken"});
}

TEST_F(HandlerTest, ABatchIsAnsweredInOrder)
{
    EXPECT_EQ(Run(R"([{"jsonrpc":"2.0","id":1,"method":"echo"},{"jsonrpc":"2.0","method":"echo"},5,[],)"
                  R"({"jsonrpc":"2.0","id":2,"method":"fail"},{"jsonrpc":"2.0","id":3,"method":"echo"}])"),
              "[" + Echoed("1") + "," + InvalidRequest() + "," + InvalidRequest() + "," +
                  Error(-32603, "Internal error", "2") + "," + Echoed("3") + "]");
    EXPECT_EQ(Run(R"([{"jsonrpc":"2.0","method":"echo"},{"jsonrpc":"2.0","method":"none"}])"), "");
}

TEST_F(HandlerTest, AnEndlessBatchIsOneRefusal)
{
    std::string batch = "[1";
    for (unsigned i = 0; i < Handler::kMaxBatch; ++i)
        batch += ",1";
    EXPECT_EQ(Run(batch + "]"), InvalidRequest());
}

TEST_F(HandlerTest, AShortBatchCannotCostAReplyWithoutEnd)
{
    constexpr std::size_t kWide = 8000; // bytes; each reply is a little longer
    const std::string wide =
        R"({"jsonrpc":"2.0","id":1,"method":"echo","params":")" + std::string(kWide, 'x') + R"("})";
    const std::size_t enough = Handler::kMaxBatchReply / kWide + 1;
    std::string batch = "[" + wide;
    for (std::size_t i = 1; i < enough; ++i)
        batch += "," + wide;
    batch += R"(,{"jsonrpc":"2.0","id":"late","method":"echo"},{"jsonrpc":"2.0","method":"echo"},5])";
    const std::string reply = Run(batch);
    const std::string end = Error(-32603, "Internal error", "\"late\"") + "," + InvalidRequest() + "]";
    ASSERT_GT(reply.size(), end.size());
    EXPECT_EQ(reply.substr(reply.size() - end.size()), end);
    const auto run =
        static_cast<std::size_t>(mMethods.mCalls - 1); // the one without an id is run all the same
    EXPECT_LT(run, enough);
    EXPECT_GT(run * (kWide + 100), Handler::kMaxBatchReply);
}

const char kLater[] = R"({"jsonrpc":"2.0","id":1,"method":"later"})";
const char kSilentlyLater[] = R"({"jsonrpc":"2.0","method":"later"})";

TEST_F(HandlerTest, NobodyAnswersLaterToACallerWhoCannotWait)
{
    std::vector<std::string> failures;
    mHandler.SetFailureObserver([&](const std::string& method, const char*) { failures.push_back(method); });
    EXPECT_EQ(Run(kLater), Error(-32603, "Internal error", "1"));
    EXPECT_EQ(Run(kSilentlyLater), "");
    EXPECT_EQ(failures, (std::vector<std::string>{"later", "later"}));
    EXPECT_FALSE(mMethods.mTickets.front().IsAwaited());
    mMethods.mTickets.front().Answer("to nobody");
    EXPECT_FALSE(mHandler.Defer().IsAwaited()) << "no method runs";
}

TEST_F(HandlerTest, ARequestIsAnsweredLaterByItsTicket)
{
    EXPECT_EQ(Begin(kLater), "");
    ASSERT_NE(mExchange, nullptr);
    EXPECT_TRUE(mExchange->IsWaiting());
    int told = 0;
    mExchange->SetObserver([&] { ++told; });
    const Json::Rpc::Ticket ticket = mMethods.mTickets.back();
    EXPECT_TRUE(ticket.IsAwaited());
    ticket.Answer("reply");
    ticket.Answer("a second one");
    EXPECT_EQ(told, 1);
    EXPECT_FALSE(ticket.IsAwaited());
    EXPECT_FALSE(mExchange->IsWaiting());
    EXPECT_EQ(Resume(), "\"reply\"");

    EXPECT_EQ(Begin(kSilentlyLater), "");
    ASSERT_NE(mExchange, nullptr) << "what is behind it waits all the same";
    mMethods.mTickets.back().Answer("to nobody");
    EXPECT_EQ(Resume(), "");

    EXPECT_EQ(Begin(kLater), "");
    mExchange.reset();
    EXPECT_FALSE(mMethods.mTickets.back().IsAwaited());
    mMethods.mTickets.back().Answer("to nobody");

    const std::string nested =
        R"([{"id":9,"result":{"fd":5,"params":null}},)" + Error(-32603, "Internal error", "8") + "]";
    EXPECT_EQ(Begin(R"({"jsonrpc":"2.0","id":1,"method":"nested"})"), nested);
    EXPECT_FALSE(mMethods.mTickets.back().IsAwaited()) << "answered at once after all";
    EXPECT_EQ(Begin(R"({"jsonrpc":"2.0","id":1,"method":"nested","wait":1})"), "");
    mMethods.mTickets.back().Answer("reply");
    EXPECT_EQ(Resume(), "\"reply\"");
}

TEST_F(HandlerTest, ABatchStopsAtEachRequestThatIsAnsweredLater)
{
    const std::string echo = R"({"jsonrpc":"2.0","id":2,"method":"echo"})";
    EXPECT_EQ(Begin("[" + echo + "," + kLater + "," + kSilentlyLater + "," + echo + "]"), "");
    for (int i = 0; i < 2; ++i)
    {
        ASSERT_NE(mExchange, nullptr);
        EXPECT_TRUE(mExchange->IsWaiting());
        EXPECT_EQ(mMethods.mCalls, 1) << "the last one waits";
        mMethods.mTickets.back().Answer("reply");
        const std::string replies = Resume();
        EXPECT_EQ(replies, i == 0 ? "" : "[" + Echoed("2") + ",\"reply\"," + Echoed("2") + "]");
    }
    EXPECT_EQ(mExchange, nullptr);
}

TEST_F(HandlerTest, ABatchGoesOnInItsNextTurn)
{
    constexpr std::chrono::hours kNone(0);
    const std::string echo = R"({"jsonrpc":"2.0","id":2,"method":"echo"})";
    EXPECT_EQ(Begin("[" + echo + "," + echo + "," + echo + "]", kNone), "");
    for (int calls = 1; calls < 3; ++calls)
    {
        ASSERT_NE(mExchange, nullptr);
        EXPECT_FALSE(mExchange->IsWaiting());
        EXPECT_EQ(mMethods.mCalls, calls);
        EXPECT_GT(mExchange->GetWeight(), 3 * echo.size());
        const std::string replies = Resume(kNone);
        EXPECT_EQ(replies, calls < 2 ? "" : "[" + Echoed("2") + "," + Echoed("2") + "," + Echoed("2") + "]");
    }
    EXPECT_EQ(Begin(echo, kNone), Echoed("2")) << "a single request needs one turn";
}

TEST_F(HandlerTest, MethodsComeAndGoByName)
{
    EXPECT_FALSE(mMethods.Add("echo", &CMethods::Echo)) << "the first one stays";
    EXPECT_FALSE(mMethods.Add("", &CMethods::Echo));
    EXPECT_FALSE(mHandler.AddMethod(nullptr));

    EXPECT_EQ(Run(R"({"jsonrpc":"2.0","id":1,"method":"deleteMe"})"), Echoed("1"));
    EXPECT_EQ(Run(R"({"jsonrpc":"2.0","id":1,"method":"deleteMe"})"), Error(-32601, "Method not found", "1"));
    mHandler.DeleteMethod("echo");
    mHandler.DeleteMethod("unknown");
    EXPECT_EQ(Run(R"({"jsonrpc":"2.0","id":1,"method":"system.describe"})"),
              R"({"id":1,"jsonrpc":"2.0","result":{"fail":null,"later":null,"nested":null,)"
              R"("system.describe":null}})");
}
} // namespace
