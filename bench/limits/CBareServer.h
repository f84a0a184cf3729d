// The least that a server of NUL-terminated messages can do: what the limits are made of.
#pragma once

#include "software/utility/CDescriptor.h"

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

/// Accepts any number of clients on 127.0.0.1 and counts the ends of their messages; what the messages say is
/// not looked at. One epoll, kept across passes, one read of 4096 bytes a ready client, no time-out.
class CBareServer
{
public:
    /// Called once a message with the socket it came from.
    using MessageFunction = std::function<void(int socket)>;

    CBareServer(); ///< listens on a free port. @throws CException when the system refuses

    std::uint16_t GetPort() const noexcept { return mPort; }

    /// The sockets of all clients, in the order they were accepted.
    const std::vector<int>& GetSockets() const noexcept { return mOrder; }

    /// Serves until the process is ended. @throws CException when the system refuses
    [[noreturn]] void Run(const MessageFunction& onMessage);

private:
    void Watch(int socket);
    void AcceptAll();
    void Serve(int socket, const MessageFunction& onMessage);
    void Drop(int socket);

    std::uint16_t mPort = 0;
    CDescriptor mListener;
    CDescriptor mEpoll;
    std::map<int, CDescriptor> mClients; // owns the sockets
    std::vector<int> mOrder;
};
