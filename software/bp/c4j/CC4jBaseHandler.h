// What every group of JSON-RPC methods shares: reading requests, building replies, subscriptions.
#pragma once

#include "software/bp/c4j/CJsonRpcServer.h"
#include "software/include/EError.h"
#include "software/jsonrpc/RpcMethod.h"

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>

#include <json/value.h>

class CEventDispatcher;
class CIpcMessage;
class ILog;

/// Base of a group of methods, which is a module of the server. A derived class registers its methods in its
/// constructor and owns nothing of the server; the server outlives it and serves no request once it has gone.
/// Every method takes the request (read only) and the reply, which it leaves null when nothing is to be sent,
/// and returns true. Methods run on the server's thread.
///
/// The readers of parameters are total: what is absent or of another type gives the default, nothing throws.
/// Integers are judged as jsoncpp does: 1.0 is one, 1.5 and 3e9 are not (for an int).
class CC4jBaseHandler
{
public:
    /// Registers the module; `server` is not owned.
    CC4jBaseHandler(CJsonRpcServer& server, const std::string& moduleName, unsigned version);
    CC4jBaseHandler(const CC4jBaseHandler&) = delete;
    CC4jBaseHandler& operator=(const CC4jBaseHandler&) = delete;
    virtual ~CC4jBaseHandler();

    // --- Methods

    /// {"version": module version}
    bool Version(const Json::Value& request, Json::Value& response);
    /// Subscribes the caller to the names of `GetNotifyMethods`; with "sendNow" (default true) each name's
    /// current state is sent to it before the reply. Without a name: error 5; a caller without a client id:
    /// error 5 "Can't find client identifier".
    virtual bool AddListener(const Json::Value& request, Json::Value& response);
    /// Takes one registration of the caller off each name. Errors as `AddListener`.
    virtual bool RemoveListener(const Json::Value& request, Json::Value& response);

    // --- Replies

    static bool IsResponseRequired(const Json::Value& request); ///< it has an "id", be it null
    /// The "id" as a number, 0xFFFFFFFF when it is absent or not one of 32 bits.
    static std::uint32_t GetId(const Json::Value& request);
    /// The reply becomes {"id", "jsonrpc"}, or null without "id".
    static void InitResponseObj(const Json::Value& request, Json::Value& response);
    /// Puts the result into a reply that `InitResponseObj` began; nothing without "id".
    static void SetResult(Json::Value& response, Json::Value&& result);
    /// A reply with nothing to tell: its result is an empty object.
    static void SetEmptyResult(Json::Value& response);
    /// The reply becomes an error; null without "id".
    /// @param message  empty: the text of the code
    static void MakeErrorResponse(const Json::Value& request, Json::Value& response, EError error,
                                  const std::string& message = std::string());
    /// Replaces result and error by an array with one error per element of "params", each with the "port" of
    /// its element where that has one. Nothing is added when "params" is no array, or without "id".
    /// @param message  empty: the text of the code
    static void NewFormatErrorResponse(const Json::Value& request, Json::Value& response, EError error,
                                       const std::string& message = std::string());
    /// Appends {"port" or "position": index, "message": message} to the reply's array "error".
    static void AppendErrorObjectOct(Json::Value& response, const std::string& message, bool isPort,
                                     unsigned index);

    // --- Parameters

    static const Json::Value& GetParams(const Json::Value& request); ///< null when there are none
    /// The control code in upper case: [code, ...] or {"code": code}; empty when there is none.
    static std::string GetCodeFromParams(const Json::Value& params);
    /// What stands beside the code: [code, value] or {"value": value}; null when there is none.
    static const Json::Value& GetValueFromParams(const Json::Value& params);
    static bool ParseCode(const Json::Value& value, std::string& code); ///< false unless it is a string
    /// A JSON number or boolean as the number of a control; a fraction is cut towards zero.
    /// @returns 0, 3 when it is neither, 104 when it does not fit into 32 bits
    [[nodiscard]] static EError ParseNumber(const Json::Value& value, int& number);
    /// A JSON string as the text of a control.
    /// @returns 0, 3 when it is none, 104 when it is not well-formed UTF-8 or holds a NUL
    [[nodiscard]] static EError ParseText(const Json::Value& value, std::string& text);

    static bool GetBoolFromArray(const Json::Value& params, Json::ArrayIndex index);
    static int GetIntFromArray(const Json::Value& params, Json::ArrayIndex index);
    static unsigned GetUIntFromArray(const Json::Value& params, Json::ArrayIndex index);
    static std::string GetStringFromArray(const Json::Value& params, Json::ArrayIndex index);
    static bool GetBoolFromArray2(const Json::Value& params, Json::ArrayIndex index, bool defaultValue);
    static int GetIntFromArray2(const Json::Value& params, Json::ArrayIndex index, int defaultValue);
    static unsigned GetUIntFromArray2(const Json::Value& params, Json::ArrayIndex index,
                                      unsigned defaultValue);

    static int GetIntFromObj(const Json::Value& obj, const char* key, int defaultValue);
    static unsigned GetUIntFromObj(const Json::Value& obj, const char* key, unsigned defaultValue);
    static bool GetBoolFromObj(const Json::Value& obj, const char* key, bool defaultValue);
    static std::string GetStringFromObj(const Json::Value& obj, const char* key,
                                        const std::string& defaultValue);
    /// These two refer into `obj`, or to a null value.
    static const Json::Value& GetArrayFromObj(const Json::Value& obj, const char* key);
    static const Json::Value& GetObjFromObj(const Json::Value& obj, const char* key);
    /// A string, or the strings of an array.
    static std::list<std::string> GetStringsFromObj(const Json::Value& obj, const char* key);
    static bool ValueExistInArray(const Json::Value& params, Json::ArrayIndex index);
    static bool ValueExistInObj(const Json::Value& obj, const char* key);

    // --- The caller

    static int GetClientFd(const Json::Value& request);                 ///< client id, -1 when there is none
    static std::string GetClientDescriptor(const Json::Value& request); ///< "JSON_TCP.7" of client 7
    static std::string GetClientIdString(const Json::Value& request);   ///< the descriptor, for log lines

    // --- Custom handlers

    /// Code, modifier and value as a message: a number or boolean becomes a number argument, a string a text
    /// argument, key 0. A modifier without a value qualifies a number argument that prints nothing.
    /// @throws CException "Unsupported JSON container: %d" when params are neither array nor object;
    ///         "Unsupported JSON type: %d (%s)", type number and name, for a value that is none of these or
    ///         beyond 32 bits, and for a modifier that is not one character; what
    ///         `CIpcMessage` says of a code that no message can carry
    static CIpcMessage ConvertParamsToIpc(const Json::Value& params);
    /// Whether a custom handler's reply is an error, and which.
    /// @param text  empty when the reply leaves it to the code
    static bool GetIpcError(const CIpcMessage& reply, EError& error, std::string& text);
    /// Null without arguments, the value of a single one, else an array in key order.
    static Json::Value ConvertFromIpcReply(const CIpcMessage& reply);
    /// The value of a single reply, else an array with the value of each.
    static Json::Value ConvertFromIpcReply(const std::list<CIpcMessage>& replies);

    // --- Notifications

    /// The names that a listener asks for: "notifyMethod", a string or an array of them. What this returns is
    /// subscribed to, so a group overrides it to return only names that it has.
    virtual std::list<std::string> GetNotifyMethods(const Json::Value& params) const;
    /// Sends a finished message at once.
    void SendNotification(std::string text, std::list<std::string> descriptors);

protected:
    /// One row of a group's table of methods.
    template <class Group>
    struct SMethod
    {
        const char* mName; ///< full name, "control:get"
        bool (Group::*mMethod)(const Json::Value& request, Json::Value& response);
    };

    /// Adds a group's methods to the server in the order of the table.
    template <class Group, std::size_t count>
    void AddMethods(Group& group, const SMethod<Group> (&methods)[count])
    {
        for (const SMethod<Group>& method : methods)
        {
            auto added = std::make_unique<Json::Rpc::RpcMethod<Group>>(group, method.mMethod, method.mName);
            mServer.AddMethod(added.release()); // the server owns it
        }
    }

    /// Sends what a name of `AddListener` stands for at this moment to one client. The base knows no names.
    virtual void SendState(const std::string& name, const std::string& descriptor);

    /// Whether a listener wants the current state at once; [name, sendNow] or {"sendNow": bool}.
    static bool GetSendNow(const Json::Value& params, bool arrayDefault);

    /// What a listener method is about. A group that has refusals of its own overrides it.
    /// @returns false, with error 5 answered, when there is no name or an empty one
    virtual bool FindNames(const Json::Value& request, Json::Value& response,
                           std::list<std::string>& names) const;
    /// The caller as a subscriber. @returns false, with error 5 answered, when it has no client id
    static bool FindSubscriber(const Json::Value& request, Json::Value& response, std::string& descriptor);
    /// Answers error 5 "Can't find client identifier".
    static void MakeUnknownClientResponse(const Json::Value& request, Json::Value& response);

    CJsonRpcServer& mServer;
    CEventDispatcher& mDispatcher;
    ILog& mLog;
    const unsigned mVersion;
};
