// JSON-RPC server of one datagram a text.
#pragma once

#include "software/jsonrpc/Server.h"

#include <netinet/in.h>

#include <cstddef>
#include <string>

namespace Json::Rpc
{
/// Answers each datagram to its sender, at once: a method that would answer later finds nobody who waits.
/// Used from one thread.
class UdpServer : public Server
{
public:
    UdpServer(const std::string& address, unsigned short port);

    /// Waits at most this long for a datagram and handles it. @returns whether there was one
    bool WaitMessage(unsigned timeoutMs);
    /// Handles one datagram that waits on the socket: runs it and sends the reply, if any, to its sender.
    /// @returns false when none was waiting
    virtual bool Recv(int socket);

    static constexpr std::size_t kMaxDatagram = 1500; ///< bytes; what is longer is cut, and then no JSON

protected:
    /// Takes one datagram without waiting. @returns false when there is none
    bool Receive(std::string& text, sockaddr_in& sender);
    bool SendTo(const std::string& text, const sockaddr_in& receiver); ///< false when it could not be sent
    /// Runs a text that a sender sent, its member "fd" being -1, and answers it.
    void Answer(const std::string& text, const sockaddr_in& sender);
};
} // namespace Json::Rpc
