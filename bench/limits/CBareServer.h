// The least that a server can do: what the limits are made of.
#pragma once

#include "bench/support/CFrameCounter.h"
#include "software/utility/CDescriptor.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// Accepts any number of clients and counts the ends of their messages; what the messages say is not looked
/// at. One epoll, kept across passes, one read of 4096 bytes a ready client, no time-out.
class CBareServer
{
public:
    /// Called once a message with the socket it came from.
    using MessageFunction = std::function<void(int socket)>;

    CBareServer(); ///< of JSON-RPC, on a free port of 127.0.0.1. @throws CException when the system refuses
    explicit CBareServer(const std::string& path); ///< the same of local IPC, on a Unix socket

    std::uint16_t GetPort() const noexcept { return mPort; } ///< 0 on a Unix socket

    /// The sockets of all clients, in the order they were accepted.
    const std::vector<int>& GetSockets() const noexcept { return mOrder; }

    /// Serves until the process is ended. @throws CException when the system refuses
    [[noreturn]] void Run(const MessageFunction& onMessage);

private:
    struct SClient
    {
        CDescriptor mSocket;
        CFrameCounter mMessages;
    };

    void Start();
    void Watch(int socket);
    void AcceptAll();
    void Serve(int socket, const MessageFunction& onMessage);
    void Drop(int socket);

    std::uint16_t mPort = 0;
    const EFraming mFraming;
    CDescriptor mListener;
    CDescriptor mEpoll;
    std::vector<SClient> mClients; // by descriptor
    std::vector<int> mOrder;
};
