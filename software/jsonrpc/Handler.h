// The dispatcher of JSON-RPC 2.0: from a text to a method's reply.
#pragma once

#include "software/jsonrpc/CallbackMethod.h"

#include <json/value.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Json
{
class CharReader;
} // namespace Json

namespace Json::Rpc
{
/// The errors that the dispatcher itself answers.
enum EProtocolError : int
{
    eParseError = -32700,     ///< "Parse error"
    eInvalidRequest = -32600, ///< "Invalid Request"
    eMethodNotFound = -32601, ///< "Method not found"
    eInternalError = -32603,  ///< "Internal error": the method threw, or the batch's reply is too long
};

/// Holds the methods by name and runs requests. Members of a request besides "jsonrpc", "id" and "method" are
/// the methods' business, "params" too. "system.describe" is there from the beginning: its result is an
/// object of every method's name and description. Used from one thread; a method may run further requests,
/// add methods and delete any, itself included.
class Handler
{
public:
    Handler();
    ~Handler();
    Handler(const Handler&) = delete;
    Handler& operator=(const Handler&) = delete;

    /// Takes the method over, in any case.
    /// @returns false when its name is empty or taken (it is destroyed, the first one stays), or for null
    bool AddMethod(CallbackMethod* method);
    void DeleteMethod(std::string_view name); ///< nothing happens for an unknown name

    /// Runs one text: a request, or an array of requests.
    /// Text that is not UTF-8 or not JSON, is nested deeper than `kMaxDepth`, has duplicate members or goes
    /// on after the value is answered "Parse error" with a null id; it never throws for what the text holds.
    /// The text is not looked at any more once the first method runs.
    /// @param response  the reply, null when there is none
    /// @param clientId  what the methods find as the request's member "fd", whatever the text says
    /// @returns false when a method said that its reply follows
    /// @throws  only what a method throws that does not derive from std::exception
    bool Process(const std::string& text, Json::Value& response, int clientId);
    bool Process(const char* begin, const char* end, Json::Value& response, int clientId);

    /// The same for a text parsed already. "fd" is written into the request, or into each of its requests.
    bool ProcessParsed(Json::Value& request, Json::Value& response, int clientId);

    /// The text of a reply, without a line end.
    static std::string GetString(const Json::Value& value);

    /// Is told of a method that threw: its name and the exception's text. An empty function: nobody is told.
    using FailureObserver = std::function<void(const std::string& method, const char* text)>;
    void SetFailureObserver(FailureObserver observer) { mFailureObserver = std::move(observer); }

    static constexpr int kMaxDepth = 64; ///< of arrays and objects in each other
    /// Requests in a batch; a longer one is one "Invalid Request". The whole of its reply is held in memory,
    /// and nobody else is served meanwhile, so that one text must not ask for thousands of large replies.
    static constexpr unsigned kMaxBatch = 256;
    /// Bytes of text. Once the replies of a batch are longer, its further requests that have an "id" are not
    /// run but answered "Internal error": how large a reply is, its method alone knows.
    static constexpr std::size_t kMaxBatchReply = std::size_t{1} << 20;

private:
    class CCall;

    bool ProcessBatch(Json::Value& batch, Json::Value& response, int clientId);
    bool ProcessRequest(Json::Value& request, Json::Value& response, int clientId);
    bool CallMethod(CallbackMethod& method, const Json::Value& request, Json::Value& response);
    bool Describe(const Json::Value& request, Json::Value& response); // "system.describe"

    const std::unique_ptr<Json::CharReader> mReader; // kept: making one costs more than a small text
    std::unordered_map<std::string_view, std::unique_ptr<CallbackMethod>> mMethods; // keys: their own names
    std::vector<std::unique_ptr<CallbackMethod>> mDeleted; // while calls run, which may be theirs
    unsigned mCalls = 0;                                   // running
    FailureObserver mFailureObserver;
};
} // namespace Json::Rpc
