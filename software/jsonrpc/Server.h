// Base of every JSON-RPC server: a bound socket and the methods.
#pragma once

#include "software/jsonrpc/Handler.h"
#include "software/utility/CDescriptor.h"

#include <string>
#include <string_view>

namespace Json::Rpc
{
/// Owns the socket that it binds and the methods that are added to it. Used from one thread.
class Server
{
public:
    /// @param address  dotted IPv4 address or host name to bind to; "0.0.0.0" for every interface
    /// @param port     0 takes a free one, which `GetPort` tells after `Bind`
    Server(const std::string& address, unsigned short port);
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    virtual ~Server() = default;

    /// Makes the socket (non-blocking, its address reusable at once) and binds it.
    /// @returns false when it is bound already, the address is unknown or the system refuses (see errno)
    bool Bind();
    virtual void Close(); ///< closes the socket; `Bind` may follow

    int GetSocket() const noexcept { return mSocket.Get(); } ///< -1 when not bound
    const std::string& GetAddress() const noexcept { return mAddress; }
    unsigned short GetPort() const noexcept { return mBoundPort; } ///< the given one until `Bind`
    int GetProtocol() const noexcept { return mProtocol; }         ///< IPPROTO_TCP or IPPROTO_UDP

    bool AddMethod(CallbackMethod* method) { return mHandler.AddMethod(method); } ///< see `Handler`
    void DeleteMethod(std::string_view name) { mHandler.DeleteMethod(name); }
    Ticket Defer() { return mHandler.Defer(); } ///< see `Handler`; for the method that runs

protected:
    void SetProtocol(int protocol) noexcept { mProtocol = protocol; } ///< before `Bind`
    Handler& GetHandler() noexcept { return mHandler; }

private:
    const std::string mAddress;
    const unsigned short mPort;
    unsigned short mBoundPort;
    int mProtocol;
    CDescriptor mSocket;
    Handler mHandler;
};
} // namespace Json::Rpc
