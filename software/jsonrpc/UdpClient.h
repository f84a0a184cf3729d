// JSON-RPC client of one datagram a text.
#pragma once

#include "software/jsonrpc/Client.h"

#include <netinet/in.h>

#include <cstddef>
#include <string>

namespace Json::Rpc
{
/// Sends to one address, which may be a group's, and takes datagrams from anyone. Not thread-safe.
class UdpClient : public Client
{
public:
    UdpClient(const std::string& address, unsigned short port);

    /// Looks the address up and makes the socket; nothing is sent.
    bool Connect(int timeoutMs = -1) override;

    bool Send(const std::string& text); ///< false when it could not be sent (see errno)
    /// Waits at most this long for one datagram; longer ones are cut to `kMaxDatagram` bytes.
    /// @returns false when none came
    bool Receive(std::string& text, sockaddr_in& sender, unsigned timeoutMs);

    static constexpr std::size_t kMaxDatagram = 1500; ///< bytes

private:
    sockaddr_in mPeer{};
};
} // namespace Json::Rpc
