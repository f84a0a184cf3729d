// Binding, the same for datagrams and connections.
#include "software/jsonrpc/Server.h"

#include "software/jsonrpc/NAddress.h"

#include <sys/socket.h>

#include <cerrno>
#include <utility>

namespace
{
bool BindTo(int descriptor, const sockaddr_in& address)
{
    const int on = 1;
    if (address.sin_port != 0 && // a free port must be free for certain
        ::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0)
        return false;
    return ::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

unsigned short GetBoundPort(int descriptor)
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        return 0;
    return ntohs(address.sin_port);
}
} // namespace

namespace Json::Rpc
{
Server::Server(const std::string& address, unsigned short port)
    : mAddress(address)
    , mPort(port)
    , mBoundPort(port)
    , mProtocol(IPPROTO_TCP)
{
}

bool Server::Bind()
{
    if (mSocket.IsOpen())
    {
        errno = EISCONN;
        return false;
    }
    const auto address = NAddress::Resolve(mAddress, mPort);
    if (!address)
    {
        errno = EADDRNOTAVAIL;
        return false;
    }
    const int type = mProtocol == IPPROTO_UDP ? SOCK_DGRAM : SOCK_STREAM;
    CDescriptor socket(::socket(AF_INET, type | SOCK_CLOEXEC | SOCK_NONBLOCK, mProtocol));
    if (!socket.IsOpen())
        return false;
    if (!BindTo(socket.Get(), *address))
    {
        const int error = errno;
        socket.Reset();
        errno = error; // closing may change it
        return false;
    }
    mBoundPort = GetBoundPort(socket.Get());
    mSocket = std::move(socket);
    return true;
}

void Server::Close()
{
    mSocket.Reset();
    mBoundPort = mPort;
}
} // namespace Json::Rpc
