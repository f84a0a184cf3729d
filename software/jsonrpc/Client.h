// Base of every JSON-RPC client: a socket and the server's address.
#pragma once

#include "software/utility/CDescriptor.h"

#include <string>
#include <utility>

namespace Json::Rpc
{
/// Owns its socket. Not thread-safe.
class Client
{
public:
    /// @param address  dotted IPv4 address or host name of the server
    Client(const std::string& address, unsigned short port);
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    virtual ~Client() = default;

    /// Connects to the server; an open connection is closed first.
    /// @param timeoutMs  longest wait for the server to answer, -1 for as long as the system tries; looking
    ///                   up a name is not part of it
    /// @returns false when the name is unknown, or the server cannot be reached (see errno)
    virtual bool Connect(int timeoutMs = -1);
    virtual void Close();

    int GetSocket() const noexcept { return mSocket.Get(); }            ///< -1 when not connected; blocking
    void SetAddress(const std::string& address) { mAddress = address; } ///< used by the next `Connect`
    const std::string& GetAddress() const noexcept { return mAddress; }
    unsigned short GetPort() const noexcept { return mPort; }
    int GetProtocol() const noexcept { return mProtocol; } ///< IPPROTO_TCP or IPPROTO_UDP

protected:
    void SetProtocol(int protocol) noexcept { mProtocol = protocol; } ///< before `Connect`
    void SetSocket(CDescriptor socket) noexcept { mSocket = std::move(socket); }

private:
    std::string mAddress;
    const unsigned short mPort;
    int mProtocol;
    CDescriptor mSocket;
};
} // namespace Json::Rpc
