// The output side of the JSON-RPC server: what a socket does not take at once waits, in order.
#pragma once

#include <json/value.h>

#include <cstddef>
#include <string>

class CSelectWrapper;
class ILog;
struct SJsonRpcClient;

/// Sends replies and notifications. A reply waits in the client's buffer for the end of its turn, or for more
/// of its kind; nothing overtakes it, and no message is ever sent in part only.
class CJsonRpcOutput
{
public:
    static constexpr std::size_t kMaxWaiting = std::size_t{4} << 20; ///< bytes for one client

    enum class ESend
    {
        Sent,    ///< by the socket, or partly by the client's buffer
        Blocked, ///< nothing was sent: older output waits, or the socket takes nothing
        Failed,  ///< nothing was sent, or nothing more can be; errno tells why
        Unknown, ///< no such client
    };

    /// Neither is owned, both must outlive this.
    CJsonRpcOutput(CSelectWrapper& select, ILog& log) noexcept
        : mSelect(select)
        , mLog(log)
    {
    }

    /// @returns false when more than `kMaxWaiting` bytes wait: they are dropped, and the client is lost
    bool AppendReply(SJsonRpcClient& client, const Json::Value& response);
    /// Sends one text and a NUL.
    ESend Send(SJsonRpcClient& client, const std::string& text);
    void Flush(SJsonRpcClient& client); ///< sends what waits, as far as the socket takes it
    void Drop(SJsonRpcClient& client);  ///< what waits
    void Watch(SJsonRpcClient& client, bool read, bool write);

private:
    void Fail(SJsonRpcClient& client, int error);
    void LogReplyFailure(const SJsonRpcClient& client, int error) const;

    CSelectWrapper& mSelect;
    ILog& mLog;
};
