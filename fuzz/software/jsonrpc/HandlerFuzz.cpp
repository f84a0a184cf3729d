// Any text: the dispatcher never throws, and what it answers prints to text that reads as the same value.
#include "software/jsonrpc/Handler.h"

#include "software/jsonrpc/RpcMethod.h"
#include "software/utility/CTurn.h"

#include <json/reader.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

namespace
{
void Require(bool holds)
{
    if (!holds)
        std::abort();
}

class CMethods
{
public:
    CMethods()
    {
        Add("echo", &CMethods::Echo);
        Add("fail", &CMethods::Fail);
        Add("later", &CMethods::Later);
    }

    Json::Rpc::Handler& GetHandler() { return mHandler; }

private:
    using Method = Json::Rpc::RpcMethod<CMethods>;

    void Add(const char* name, Method::Function function)
    {
        mHandler.AddMethod(std::make_unique<Method>(*this, function, name).release());
    }
    bool Echo(const Json::Value& request, Json::Value& response)
    {
        Require(request["fd"] == Json::Value(7) && request["jsonrpc"] == Json::Value("2.0"));
        response["id"] = request["id"];
        response["result"] = request["params"];
        return true;
    }
    bool Fail(const Json::Value&, Json::Value&) { throw std::runtime_error("broken"); }
    bool Later(const Json::Value&, Json::Value&)
    {
        mHandler.Defer().Answer("at once");
        return false;
    }

    Json::Rpc::Handler mHandler;
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    static CMethods methods;
    const char* const text = reinterpret_cast<const char*>(data);
    Json::Value response;
    CTurn turn(std::chrono::microseconds(0)); // over after each request of a batch
    auto exchange = methods.GetHandler().Begin(text, text + size, response, 7, turn);
    while (exchange != nullptr && !methods.GetHandler().Resume(*exchange, response, turn))
        Require(!exchange->IsWaiting() && response.isNull());
    if (response.isNull())
        return 0;
    Require(response.isObject() || response.isArray());

    const std::string printed = Json::Rpc::Handler::GetString(response);
    Json::Value again;
    Require(Json::Reader().parse(printed, again, false));
    Require(Json::Rpc::Handler::GetString(again) == printed);
    return 0;
}
