// The methods of the module "control", and its notifications.
#pragma once

#include "software/bp/c4j/CC4jBaseControlHandler.h"
#include "software/bp/serial/IControlNotifier.h"

#include <functional>
#include <list>
#include <optional>
#include <string>

class CCustomEventHandler;
class CProjCon;

/// Reads, changes and describes every control by its code, and tells subscribed clients of changes. Each
/// method also answers to its bare name, "get" for "control:get", for older clients. It is the dispatcher's
/// notifier for as long as it lives.
///
/// Params are [code, ...] or {"code": code, ...}; codes are taken in any case. Without "id" the methods that
/// change something do so silently, and those that only read do nothing. Refusals that all have in common:
/// 101 for an unknown code, 117 for a protected control below level 2 or 6, 5 "Can't find client identifier"
/// for a subscription of a caller that is no client.
class CC4jControl : public CC4jBaseControlHandler, public IControlNotifier
{
public:
    explicit CC4jControl(CJsonRpcServer& server);
    ~CC4jControl() override;

    /// {"value": value}, with "code" when params are an object. A code with a custom handler is answered by
    /// that: error 3 for params that no message can carry, else the handler's own error.
    bool Get(const Json::Value& request, Json::Value& response);
    /// Changes the value; an action is triggered whatever the value says. The reply is that of `Get` after
    /// the change. Error 3 for a value of a wrong JSON type, 104 for a number that does not fit into 32 bits
    /// and for text that is not storable, else the code of the control's refusal, with the message "This
    /// control is read-only" where that is why.
    bool Set(const Json::Value& request, Json::Value& response);
    /// `AddPropToResult` and the value.
    bool GetProperties(const Json::Value& request, Json::Value& response);
    /// `AddAttrToResult`; open to all.
    bool GetAttributes(const Json::Value& request, Json::Value& response);

    /// [code, sendNow = false], or {"code": code or array of codes, "sendNow" = true}: all codes or none.
    /// {"count": registrations of the caller on the last code}; each current state leaves once, before the
    /// reply.
    bool AddListener(const Json::Value& request, Json::Value& response) override;
    /// Takes one registration off each code; unknown codes are no failure. Error 5 when there is no code.
    bool RemoveListener(const Json::Value& request, Json::Value& response) override;
    bool RemoveAllListeners(const Json::Value& request, Json::Value& response);
    /// [{"code", "count"}, ...] of the caller or of {"client": descriptor}, by ascending code. Error 3 when
    /// "client" is no string, 5 when it is neither connected nor subscribed to anything.
    bool GetListenerList(const Json::Value& request, Json::Value& response);

    /// Every control, or {"prefix": text} those whose code begins with it, by ascending code: {"code",
    /// "type", "label", "help", "unit", "decimals", "min", "max", "default", "access", "enabled", "readOnly",
    /// "persistent", "list", "value"}. "min", "max", "default" and "list" are null where the type has none,
    /// "value" also where the caller may not read it; "decimals" is 0 and "unit" empty for a bare number.
    /// Error 3 for other params.
    bool List(const Json::Value& request, Json::Value& response);

    void MakeNotification(const CProjCon& control, ENotifyType type,
                          std::list<std::string> recipients) override;

private:
    struct SChange;
    enum class EExchange
    {
        Request, ///< reads
        Command, ///< changes
    };

    using Finder = CProjCon* (CC4jControl::*)(const std::string& code, const Json::Value& request,
                                              Json::Value& response) const;
    using Describer = std::function<void(const CProjCon& control, Json::Value& result)>;

    bool AskCustomHandler(EExchange exchange, const std::string& code, const Json::Value& request,
                          Json::Value& response);
    std::optional<CIpcMessage> MakeMessage(const std::string& code, const Json::Value& request,
                                           Json::Value& response) const;
    static bool Exchange(CCustomEventHandler& handler, EExchange exchange, CIpcMessage message,
                         std::list<CIpcMessage>& replies);
    void LogChange(const Json::Value& request, const CProjCon& control, const SChange& change) const;
    void SetValueResult(const CProjCon& control, const Json::Value& request, Json::Value& response) const;
    void AnswerAbout(const char* method, Finder find, const Describer& describe, const Json::Value& request,
                     Json::Value& response) const;
    Json::Value Describe(const CProjCon& control, const Json::Value& request) const;
    std::string PrintNotification(const CProjCon& control, ENotifyType type) const;

    void LogReceived(const char* method, const Json::Value& request, const std::string& detail) const;
    void LogCompleted(const char* method, const Json::Value& request, const std::string& detail) const;
};
