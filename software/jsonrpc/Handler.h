// The dispatcher of JSON-RPC 2.0: from a text to a method's reply.
#pragma once

#include "software/jsonrpc/CallbackMethod.h"
#include "software/jsonrpc/Exchange.h"
#include "software/jsonrpc/Ticket.h"

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

class CTurn;

namespace Json::Rpc
{

/// The errors that the dispatcher itself answers.
enum EProtocolError : int
{
    eParseError = -32700,     ///< "Parse error"
    eInvalidRequest = -32600, ///< "Invalid Request"
    eMethodNotFound = -32601, ///< "Method not found"
    /// "Internal error": the method threw or left its reply to a ticket that it did not take, or the batch's
    /// reply is too long.
    eInternalError = -32603,
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

    /// Runs one text, a request or an array of requests, to its end. No method can answer it later.
    /// Text that is not UTF-8 or not JSON, is nested deeper than `kMaxDepth`, has duplicate members or goes
    /// on after the value is answered "Parse error" with a null id; it never throws for what the text holds.
    /// The text is not looked at any more once the first method runs.
    /// @param response  the reply, null when there is none
    /// @param clientId  what the methods find as the request's member "fd", whatever the text says
    /// @throws  only what a method throws that does not derive from std::exception
    void Process(const std::string& text, Json::Value& response, int clientId);

    /// The same for a text parsed already. "fd" is written into the request, or into each of its requests.
    void ProcessParsed(Json::Value& request, Json::Value& response, int clientId);

    /// `Process` for a caller who can wait: it stops where a method answers later and, inside a batch, where
    /// the turn is over. Nothing of the text is run beyond that place until it is resumed.
    /// @returns null at the end of the text, with the reply; else what is left, and no reply yet
    std::unique_ptr<Exchange> Begin(const char* begin, const char* end, Json::Value& response, int clientId,
                                    CTurn& turn);
    /// Goes on with what `Begin` left and is not waiting.
    /// @returns whether that was the end, with the reply; the exchange is of no use then
    bool Resume(Exchange& exchange, Json::Value& response, CTurn& turn);

    /// For the method that runs: the right to answer its request later, and to return false.
    /// @returns a ticket that nobody awaits when no method runs, or one for a caller who cannot wait
    Ticket Defer();

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

    bool RunBatch(Exchange& exchange, Json::Value& response, CTurn* turn);
    bool RunRequest(Json::Value& request, Json::Value& response, int clientId, Exchange* exchange);
    bool CallMethod(CallbackMethod& method, const Json::Value& request, Json::Value& response,
                    Exchange* exchange);
    void AnswerFailure(const CallbackMethod& method, const char* text, const Json::Value& request,
                       Json::Value& response) const;
    bool Describe(const Json::Value& request, Json::Value& response); // "system.describe"

    const std::unique_ptr<Json::CharReader> mReader; // kept: making one costs more than a small text
    std::unordered_map<std::string_view, std::unique_ptr<CallbackMethod>> mMethods; // keys: their own names
    std::vector<std::unique_ptr<CallbackMethod>> mDeleted; // while calls run, which may be theirs
    CCall* mCall = nullptr;                                // the innermost that runs
    FailureObserver mFailureObserver;
};
} // namespace Json::Rpc
