// Client end of the JSON-RPC transport, for programs that talk to such a server.
#pragma once

#include "software/jsonrpc/Client.h"

#include <cstddef>
#include <deque>
#include <string>

/// Sends and receives JSON texts, each followed by one NUL. Not thread-safe.
class CJsonRpcTcpClient : public Json::Rpc::Client
{
public:
    CJsonRpcTcpClient(const std::string& address, unsigned short port);

    /// Drops an open connection and what was received of a message, then connects.
    bool Connect(int timeoutMs = -1) override;

    /// Sends a text and one NUL; a NUL that the text ends in is not doubled. Does not wait for a server that
    /// takes nothing, but once a part of the message has left it waits up to `kSendTimeoutMs` for the rest
    /// and closes the connection when that fails.
    /// @throws CException "Unable to send data to server" with the system error
    void Send(const std::string& text);

    /// Receives once, at most 1500 bytes, and appends every message that became whole, without its NUL.
    /// Messages that are empty or begin with a digit are dropped.
    /// @param blocking  waits for bytes; otherwise it returns at once when there are none
    /// @throws CException "Unable to recv data from server", also when the server has closed the connection
    ///                    or a message grows beyond `kMaxPending`
    void Recv(std::deque<std::string>& messages, bool blocking);

    /// @throws CException always: "Not implemented.  Use Recv(std::deque<std::string>) instead"
    [[noreturn]] void Recv(std::string& message);

    static constexpr int kSendTimeoutMs = 5000;
    static constexpr std::size_t kMaxPending = std::size_t{64} << 20; ///< bytes

private:
    std::string mPending; // bytes since the last NUL
};
