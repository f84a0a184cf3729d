// Delivery of notifications; the rest is kept by what it stands on.
#include "software/bp/c4j/CJsonRpcServer.h"

#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CNotificationManager.h"
#include "software/include/ILog.h"
#include "software/jsonrpc/RpcMethod.h"
#include "software/utility/CException.h"
#include "software/utility/CTimer.h"

#include <charconv>
#include <utility>

namespace
{
constexpr char kSource[] = "software/bp/c4j/CJsonRpcServer";
constexpr unsigned kWaitMs = 10;
constexpr int kC4jVersion = 2;
constexpr std::string_view kDescriptorPrefix = "JSON_TCP.";
constexpr unsigned kNoClient = 0xFFFFFFFF; // the descriptor "JSON_TCP.-1"

// {"id", "jsonrpc", "result"}; nothing for a request without "id".
bool Reply(const Json::Value& request, Json::Value& response, Json::Value result)
{
    if (!request.isMember("id"))
        return true;
    response["id"] = request["id"];
    response["jsonrpc"] = "2.0";
    response["result"] = std::move(result);
    return true;
}
} // namespace

CJsonRpcServer::CJsonRpcServer(CEventDispatcher& dispatcher, unsigned short port,
                               const IMonotonicClock& clock, ILog& log)
    : CJsonRpcServer(dispatcher, "0.0.0.0", port, clock, log)
{
}

CJsonRpcServer::CJsonRpcServer(CEventDispatcher& dispatcher, const std::string& address, unsigned short port,
                               const IMonotonicClock& clock, ILog& log)
    : CJsonRpcTcpServer(address, port, log)
    , mDispatcher(dispatcher)
    , mClock(clock)
{
    Initialize();
    using Method = Json::Rpc::RpcMethod<CJsonRpcServer>;
    AddMethod(std::make_unique<Method>(*this, &CJsonRpcServer::GetModules, "getModules").release());
    AddMethod(std::make_unique<Method>(*this, &CJsonRpcServer::GetC4jVersion, "getC4JVersion").release());
}

CJsonRpcServer::~CJsonRpcServer()
{
    Close(); // here, because the base's destructor no longer reaches OnClientGone
}

void CJsonRpcServer::Initialize()
{
    if (!Bind())
        throw CException(__func__, kSource, __LINE__, true, "Bind failed");
    if (!Listen())
        throw CException(__func__, kSource, __LINE__, true, "Listen failed");
    mInitialized = true;
}

void CJsonRpcServer::ProcessMessages()
{
    if (!mInitialized)
        throw CException(__func__, kSource, __LINE__, false, "Uninitialized JSON server");
    Update();
    WaitMessage(kWaitMs);
}

void CJsonRpcServer::AddMethod(Json::Rpc::CallbackMethod* method)
{
    const std::string name = method != nullptr ? method->GetName() : std::string();
    if (!Server::AddMethod(method))
        GetLog().LogWarning("JSON-RPC method \"%s\" is not added: its name is empty or taken", name.c_str());
}

void CJsonRpcServer::RegisterModule(const std::string& name, unsigned version)
{
    mModules[name] = version;
}

void CJsonRpcServer::NotifyPush(const SJsonNotify& notify)
{
    SendOneNotification(notify);
}

void CJsonRpcServer::NotifyPush(const std::string& key, const SJsonNotify& notify, unsigned delayMs)
{
    if (const auto queued = mDelayed.find(key); queued != mDelayed.end())
    {
        queued->second.mNotify = notify;
        return;
    }
    auto timer = std::make_unique<CTimer>(mClock);
    (void)timer->HasTimerExpiredMs(delayMs); // refuses here what would stop the pump later
    mDelayed.emplace(key, SQueuedNotify{notify, std::move(timer), delayMs});
}

void CJsonRpcServer::Update()
{
    for (auto next = mDelayed.begin(); next != mDelayed.end();)
    {
        if (!next->second.mTimer->HasTimerExpiredMs(next->second.mDelayMs))
        {
            ++next;
            continue;
        }
        // Taken out first: a client that is lost on the way may cause further pushes, also under this key.
        const auto due = mDelayed.extract(next);
        SendOneNotification(due.mapped().mNotify);
        next = mDelayed.upper_bound(due.key());
    }
}

void CJsonRpcServer::SendOneNotification(const SJsonNotify& notify)
{
    const bool isDebug = GetLog().IsEnabled(ELogLevel::Debug);
    for (const std::string& descriptor : notify.mClients)
    {
        const unsigned id = GetJsonClientDescriptorFromString(descriptor);
        switch (TrySend(id, notify.mText))
        {
        case ESend::Sent: continue;
        case ESend::Blocked:
            if (isDebug)
                GetLog().LogDebug("Can't send notification to blocked client [ID:%d]", static_cast<int>(id));
            continue; // it keeps its subscriptions
        case ESend::Unknown:
            if (isDebug)
                GetLog().LogDebug("Can't send notification to unknown client [ID:%d]", static_cast<int>(id));
            ForceClose(id);
            break;
        case ESend::Failed:
            if (isDebug)
                GetLog().LogDebug("Can't send notification to client [ID:%d] - %s", static_cast<int>(id),
                                  MakeSendFailure(id, ESend::Failed).what());
            break;
        }
        mDispatcher.GetNotificationManager().NotifyUnregisterAll(descriptor);
    }
}

unsigned CJsonRpcServer::GetJsonClientDescriptorFromString(std::string_view descriptor) noexcept
{
    if (descriptor.substr(0, kDescriptorPrefix.size()) != kDescriptorPrefix)
        return kNoClient;
    descriptor.remove_prefix(kDescriptorPrefix.size());
    int id = 0;
    const auto [end, error] = std::from_chars(descriptor.data(), descriptor.data() + descriptor.size(), id);
    if (error != std::errc() || end != descriptor.data() + descriptor.size())
        return kNoClient;
    return static_cast<unsigned>(id);
}

void CJsonRpcServer::ProcessOutOfBandMessage(const std::string& text, Json::Value& response, int clientId)
{
    GetHandler().Process(text, response, clientId);
}

void CJsonRpcServer::OnClientGone(unsigned id)
{
    mDispatcher.GetNotificationManager().NotifyUnregisterAll(
        CNotificationManager::MakeAddrFromSocket(static_cast<int>(id)));
}

bool CJsonRpcServer::GetModules(const Json::Value& request, Json::Value& response)
{
    Json::Value modules(Json::arrayValue);
    for (const auto& [name, version] : mModules)
    {
        Json::Value& module = modules.append(Json::Value(Json::objectValue));
        module["module"] = name;
        module["version"] = version;
    }
    return Reply(request, response, std::move(modules));
}

bool CJsonRpcServer::GetC4jVersion(const Json::Value& request, Json::Value& response)
{
    return Reply(request, response, kC4jVersion);
}
