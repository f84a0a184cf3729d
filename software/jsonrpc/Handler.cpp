// The rules of JSON-RPC 2.0 (www.jsonrpc.org).
#include "software/jsonrpc/Handler.h"

#include "software/jsonrpc/NJsonText.h"
#include "software/jsonrpc/RpcMethod.h"
#include "software/utility/NUtf8.h"

#include <json/reader.h>

#include <exception>

namespace
{
constexpr std::string_view kVersion = "2.0";

struct SProtocolError
{
    Json::Rpc::EProtocolError mCode;
    const char* mMessage;
};
constexpr SProtocolError kParseError{Json::Rpc::eParseError, "Parse error"};
constexpr SProtocolError kInvalidRequest{Json::Rpc::eInvalidRequest, "Invalid Request"};
constexpr SProtocolError kMethodNotFound{Json::Rpc::eMethodNotFound, "Method not found"};
constexpr SProtocolError kInternalError{Json::Rpc::eInternalError, "Internal error"};

// Strict, except for the scalar at the top, which is no request but JSON all the same.
std::unique_ptr<Json::CharReader> MakeReader()
{
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder.settings_["strictRoot"] = false;
    builder.settings_["stackLimit"] = Json::Rpc::Handler::kMaxDepth;
    return std::unique_ptr<Json::CharReader>(builder.newCharReader());
}

bool Parse(Json::CharReader& reader, const char* begin, const char* end, Json::Value& root)
{
    if (begin == end || !NUtf8::IsStorable({begin, static_cast<std::size_t>(end - begin)}))
        return false;
    try
    {
        return reader.parse(begin, end, &root, nullptr);
    }
    catch (const Json::Exception&) // how jsoncpp refuses a text that is nested too deep
    {
        return false;
    }
}

// Null when there is no such member.
const Json::Value* FindMember(const Json::Value& object, std::string_view name)
{
    return object.find(name.data(), name.data() + name.size());
}

// Empty when it is no string.
std::string_view StringOf(const Json::Value* value)
{
    const char* begin = nullptr;
    const char* end = nullptr;
    if (value == nullptr || !value->isString() || !value->getString(&begin, &end))
        return {};
    return {begin, static_cast<std::size_t>(end - begin)};
}

bool IsUsableId(const Json::Value& id)
{
    return id.isString() || id.isNumeric() || id.isNull();
}

bool IsAnswered(const Json::Value& request)
{
    const Json::Value* const id = request.isObject() ? FindMember(request, "id") : nullptr;
    return id != nullptr && IsUsableId(*id);
}

Json::Value MakeReply(const Json::Value& id)
{
    Json::Value reply(Json::objectValue);
    reply["id"] = id;
    reply["jsonrpc"] = Json::Value(kVersion.data(), kVersion.data() + kVersion.size());
    return reply;
}

Json::Value MakeError(const Json::Value& id, const SProtocolError& error)
{
    Json::Value reply = MakeReply(id);
    Json::Value& member = reply["error"];
    member["code"] = static_cast<int>(error.mCode);
    member["message"] = error.mMessage;
    return reply;
}

} // namespace

namespace Json::Rpc
{
// A call that runs. The methods that were deleted meanwhile go when the last one ends, by whatever way.
class Handler::CCall
{
public:
    explicit CCall(Handler& handler)
        : mHandler(handler)
    {
        ++mHandler.mCalls;
    }
    CCall(const CCall&) = delete;
    CCall& operator=(const CCall&) = delete;
    ~CCall()
    {
        if (--mHandler.mCalls == 0 && !mHandler.mDeleted.empty())
            std::exchange(mHandler.mDeleted, {}).clear();
    }

private:
    Handler& mHandler;
};

Handler::Handler()
    : mReader(MakeReader())
{
    auto describe = std::make_unique<RpcMethod<Handler>>(*this, &Handler::Describe, "system.describe");
    AddMethod(describe.release());
}

Handler::~Handler() = default;

bool Handler::AddMethod(CallbackMethod* method)
{
    std::unique_ptr<CallbackMethod> owned(method);
    if (owned == nullptr || owned->GetName().empty())
        return false;
    const std::string_view name = owned->GetName();
    return mMethods.try_emplace(name, std::move(owned)).second;
}

void Handler::DeleteMethod(std::string_view name)
{
    const auto found = mMethods.find(name);
    if (found == mMethods.end())
        return;
    if (mCalls > 0) // it may be the one that runs
        mDeleted.push_back(std::move(found->second));
    mMethods.erase(found);
}

bool Handler::Process(const std::string& text, Json::Value& response, int clientId)
{
    return Process(text.data(), text.data() + text.size(), response, clientId);
}

bool Handler::Process(const char* begin, const char* end, Json::Value& response, int clientId)
{
    Json::Value root;
    if (Parse(*mReader, begin, end, root))
        return ProcessParsed(root, response, clientId);
    response = MakeError(Json::Value(), kParseError);
    return true;
}

bool Handler::ProcessParsed(Json::Value& request, Json::Value& response, int clientId)
{
    response = Json::Value();
    return request.isArray() ? ProcessBatch(request, response, clientId)
                             : ProcessRequest(request, response, clientId);
}

std::string Handler::GetString(const Json::Value& value)
{
    std::string text;
    NJsonText::Append(value, text);
    return text;
}

bool Handler::ProcessBatch(Json::Value& batch, Json::Value& response, int clientId)
{
    if (batch.empty() || batch.size() > kMaxBatch)
    {
        response = MakeError(Json::Value(), kInvalidRequest);
        return true;
    }
    bool isComplete = true;
    std::size_t size = 0;
    for (Json::Value& request : batch)
    {
        Json::Value reply;
        if (size > kMaxBatchReply && IsAnswered(request))
            reply = MakeError(request["id"], kInternalError);
        else
            isComplete = ProcessRequest(request, reply, clientId) && isComplete;
        if (reply.isNull())
            continue;
        size += GetString(reply).size();
        response.append(std::move(reply)); // null until then: a batch of notifications has no reply
    }
    return isComplete;
}

bool Handler::ProcessRequest(Json::Value& request, Json::Value& response, int clientId)
{
    const bool isObject = request.isObject();
    const Json::Value* const id = isObject ? FindMember(request, "id") : nullptr;
    const Json::Value* const name = isObject ? FindMember(request, "method") : nullptr;
    const bool hasBadId = id != nullptr && !IsUsableId(*id);
    if (hasBadId || name == nullptr || !name->isString() ||
        StringOf(FindMember(request, "jsonrpc")) != kVersion)
    {
        response = MakeError(id == nullptr || hasBadId ? Json::Value() : *id, kInvalidRequest);
        return true;
    }
    const auto method = mMethods.find(StringOf(name));
    if (method == mMethods.end())
    {
        if (id != nullptr)
            response = MakeError(*id, kMethodNotFound);
        return true;
    }
    static const Json::StaticString kClientId("fd"); // a key that jsoncpp need not copy
    request[kClientId] = clientId;
    const bool isComplete = CallMethod(*method->second, request, response);
    if (id == nullptr) // whatever the method says: nobody waits for it
        response = Json::Value();
    return isComplete;
}

bool Handler::CallMethod(CallbackMethod& method, const Json::Value& request, Json::Value& response)
{
    const CCall call(*this);
    try
    {
        return method.Call(request, response);
    }
    catch (const std::exception& failure)
    {
        if (mFailureObserver)
            mFailureObserver(method.GetName(), failure.what());
        response = MakeError(request["id"], kInternalError);
        return true;
    }
}

bool Handler::Describe(const Json::Value& request, Json::Value& response)
{
    response = MakeReply(request["id"]);
    Json::Value& result = response["result"] = Json::Value(Json::objectValue);
    for (const auto& [name, method] : mMethods)
        result[std::string(name)] = method->GetDescription();
    return true;
}
} // namespace Json::Rpc
