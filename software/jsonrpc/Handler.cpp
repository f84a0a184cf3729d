// The rules of JSON-RPC 2.0 (www.jsonrpc.org).
#include "software/jsonrpc/Handler.h"

#include "software/jsonrpc/NJsonText.h"
#include "software/jsonrpc/RpcMethod.h"
#include "software/utility/CTurn.h"
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

// Memory of a parsed value, about: a member or element is a node of a tree that holds a key and a value.
std::size_t Weigh(const Json::Value& value)
{
    constexpr std::size_t kNode = 48 + 2 * sizeof(Json::Value);
    std::size_t weight = kNode + StringOf(&value).size();
    if (value.isArray() || value.isObject())
        for (auto element = value.begin(); element != value.end(); ++element)
            weight += Weigh(*element);
    return weight;
}

} // namespace

namespace Json::Rpc
{
// A call that runs. The methods that were deleted meanwhile go when the outermost one ends, by whatever way.
class Handler::CCall
{
public:
    CCall(Handler& handler, bool canWait)
        : mHandler(handler)
        , mOuter(std::exchange(handler.mCall, this))
        , mCanWait(canWait)
    {
    }
    CCall(const CCall&) = delete;
    CCall& operator=(const CCall&) = delete;
    ~CCall()
    {
        mHandler.mCall = mOuter;
        if (mOuter == nullptr && !mHandler.mDeleted.empty())
            std::exchange(mHandler.mDeleted, {}).clear();
    }

    std::shared_ptr<SDeferral> mDeferral; // the method took a ticket

    bool CanWait() const noexcept { return mCanWait; }

private:
    Handler& mHandler;
    CCall* const mOuter;
    const bool mCanWait;
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
    if (mCall != nullptr) // it may be the one that runs
        mDeleted.push_back(std::move(found->second));
    mMethods.erase(found);
}

void Handler::Process(const std::string& text, Json::Value& response, int clientId)
{
    Json::Value root;
    if (Parse(*mReader, text.data(), text.data() + text.size(), root))
        ProcessParsed(root, response, clientId);
    else
        response = MakeError(Json::Value(), kParseError);
}

void Handler::ProcessParsed(Json::Value& request, Json::Value& response, int clientId)
{
    response = Json::Value();
    if (!request.isArray())
    {
        RunRequest(request, response, clientId, nullptr);
        return;
    }
    Exchange exchange;
    exchange.mClientId = clientId;
    exchange.mBatch.swap(request);
    RunBatch(exchange, response, nullptr);
    exchange.mBatch.swap(request);
}

std::unique_ptr<Exchange> Handler::Begin(const char* begin, const char* end, Json::Value& response,
                                         int clientId, CTurn& turn)
{
    response = Json::Value();
    Json::Value root;
    if (!Parse(*mReader, begin, end, root))
    {
        response = MakeError(Json::Value(), kParseError);
        return nullptr;
    }
    Exchange exchange; // moved to the heap only if it must stay
    exchange.mClientId = clientId;
    bool isDone = false;
    if (root.isArray())
    {
        exchange.mBatch.swap(root);
        isDone = RunBatch(exchange, response, &turn);
    }
    else
        isDone = RunRequest(root, response, clientId, &exchange);
    if (isDone)
        return nullptr;
    exchange.mWeight = sizeof(Exchange) + Weigh(exchange.mBatch);
    return std::make_unique<Exchange>(std::move(exchange));
}

bool Handler::Resume(Exchange& exchange, Json::Value& response, CTurn& turn)
{
    response = Json::Value();
    if (const auto deferral = std::exchange(exchange.mDeferral, nullptr); deferral && exchange.mIsAnswered)
        response = std::move(deferral->mReply);
    if (exchange.mBatch.isNull())
        return true;
    if (!response.isNull())
        exchange.Take(std::exchange(response, Json::Value()));
    return RunBatch(exchange, response, &turn);
}

Ticket Handler::Defer()
{
    if (mCall == nullptr || !mCall->CanWait())
        return Ticket();
    if (mCall->mDeferral == nullptr)
        mCall->mDeferral = std::make_shared<SDeferral>();
    return Ticket(mCall->mDeferral);
}

std::string Handler::GetString(const Json::Value& value)
{
    std::string text;
    NJsonText::Append(value, text);
    return text;
}

// Runs the requests that are left. Without a turn it goes to the end.
// @returns false when it stopped
bool Handler::RunBatch(Exchange& exchange, Json::Value& response, CTurn* turn)
{
    const Json::ArrayIndex count = exchange.mBatch.size();
    if (count == 0 || count > kMaxBatch)
    {
        response = MakeError(Json::Value(), kInvalidRequest);
        return true;
    }
    if (turn != nullptr)
        turn->Start();
    while (exchange.mNext < count)
    {
        Json::Value& request = exchange.mBatch[exchange.mNext++];
        Json::Value reply;
        if (exchange.mReplySize > kMaxBatchReply && IsAnswered(request))
            reply = MakeError(request["id"], kInternalError);
        else if (!RunRequest(request, reply, exchange.mClientId, turn == nullptr ? nullptr : &exchange))
            return false;
        if (!reply.isNull())
            exchange.Take(std::move(reply));
        if (turn != nullptr && exchange.mNext < count && turn->IsOver())
            return false;
    }
    response = std::move(exchange.mReplies); // null for a batch of notifications
    return true;
}

// @param exchange  where it is noted that the reply follows; null when nobody can wait
// @returns false when it follows
bool Handler::RunRequest(Json::Value& request, Json::Value& response, int clientId, Exchange* exchange)
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
    const bool isDone = CallMethod(*method->second, request, response, exchange);
    if (id == nullptr || !isDone) // whatever the method says: nobody waits for it, or not yet
        response = Json::Value();
    if (!isDone)
        exchange->mIsAnswered = id != nullptr;
    return isDone;
}

bool Handler::CallMethod(CallbackMethod& method, const Json::Value& request, Json::Value& response,
                         Exchange* exchange)
{
    CCall call(*this, exchange != nullptr);
    try
    {
        if (method.Call(request, response))
            return true;
        if (call.mDeferral != nullptr)
        {
            exchange->mDeferral = std::move(call.mDeferral);
            return false;
        }
        AnswerFailure(method, "its reply is to follow, but it took no ticket for it", request, response);
    }
    catch (const std::exception& failure)
    {
        AnswerFailure(method, failure.what(), request, response);
    }
    return true;
}

void Handler::AnswerFailure(const CallbackMethod& method, const char* text, const Json::Value& request,
                            Json::Value& response) const
{
    if (mFailureObserver)
        mFailureObserver(method.GetName(), text);
    response = MakeError(request["id"], kInternalError);
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
