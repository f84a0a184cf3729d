// The JSON-RPC server of the projector: modules, notifications, the pump.
#pragma once

#include "software/bp/c4j/CJsonRpcTcpServer.h"
#include "software/bp/c4j/SJsonNotify.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

class CEventDispatcher;
class CTimer;
class ILog;
class IMonotonicClock;

/// What the application creates and pumps with `ProcessMessages`. Handler groups register their module and
/// methods here and push their notifications through it. The dispatcher, the clock and the log must outlive
/// it; the handlers behind the methods live as long as it is pumped.
class CJsonRpcServer : public CJsonRpcTcpServer
{
public:
    /// Binds and listens on every address, and registers "getModules" and "getC4JVersion".
    /// @throws CException "Bind failed" or "Listen failed" with the system error
    CJsonRpcServer(CEventDispatcher& dispatcher, unsigned short port, const IMonotonicClock& clock,
                   ILog& log);
    /// The same on one address; port 0 takes a free one, which `GetPort` tells.
    CJsonRpcServer(CEventDispatcher& dispatcher, const std::string& address, unsigned short port,
                   const IMonotonicClock& clock, ILog& log);
    ~CJsonRpcServer() override;

    /// Binds and listens; the constructors have done so.
    /// @throws CException "Bind failed" (also when it is bound already) or "Listen failed"
    void Initialize();

    /// One step of the application's loop: `Update`, then a pass that waits at most 10 ms for activity.
    /// @throws CException "Uninitialized JSON server"
    void ProcessMessages();

    /// Takes the method over. A name that is taken stays with its first method, and is logged.
    void AddMethod(Json::Rpc::CallbackMethod* method);
    void RegisterModule(const std::string& name, unsigned version); ///< or overwrites its version

    /// Sends at once, before it returns.
    void NotifyPush(const SJsonNotify& notify);
    /// Sends the latest notification pushed under the key, one delay after the first push.
    /// @throws CException "Timer resolution exceeded" for a delay above what the clock can measure
    void NotifyPush(const std::string& key, const SJsonNotify& notify, unsigned delayMs);
    void Update(); ///< sends the delayed notifications that are due, in order of their keys

    /// Sends to each listed client, in order. A client that is gone, or that cannot be sent to, loses all its
    /// subscriptions; one whose output is blocked loses this notification only. Never throws for a client.
    void SendOneNotification(const SJsonNotify& notify);

    /// @returns the id in "JSON_TCP.%d"; 0xFFFFFFFF (-1) for any other text
    static unsigned GetJsonClientDescriptorFromString(std::string_view descriptor) noexcept;

    /// Runs a request that arrived by another path, as if the client with this id had sent it. No method can
    /// answer it later.
    void ProcessOutOfBandMessage(const std::string& text, Json::Value& response, int clientId);

    CEventDispatcher& GetDispatcher() const noexcept { return mDispatcher; }

protected:
    void OnClientGone(unsigned id) override; // its subscriptions end

private:
    struct SQueuedNotify
    {
        SJsonNotify mNotify;
        std::unique_ptr<CTimer> mTimer; // started at the first push
        std::uint32_t mDelayMs;
    };

    bool GetModules(const Json::Value& request, Json::Value& response);
    bool GetC4jVersion(const Json::Value& request, Json::Value& response);

    bool mInitialized = false;
    CEventDispatcher& mDispatcher;
    const IMonotonicClock& mClock;
    std::map<std::string, SQueuedNotify> mDelayed; // by key
    std::map<std::string, std::uint32_t> mModules; // version by name
};
