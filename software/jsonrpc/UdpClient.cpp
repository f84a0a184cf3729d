// An unconnected socket, so that answers may come from anyone.
#include "software/jsonrpc/UdpClient.h"

#include "software/jsonrpc/NAddress.h"
#include "software/utility/NPosix.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <climits>

namespace Json::Rpc
{
UdpClient::UdpClient(const std::string& address, unsigned short port)
    : Client(address, port)
{
    SetProtocol(IPPROTO_UDP);
}

bool UdpClient::Connect(int)
{
    Close();
    const auto peer = NAddress::Resolve(GetAddress(), GetPort());
    if (!peer)
    {
        errno = EADDRNOTAVAIL;
        return false;
    }
    CDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP));
    if (!socket.IsOpen())
        return false;
    mPeer = *peer;
    SetSocket(std::move(socket));
    return true;
}

bool UdpClient::Send(const std::string& text)
{
    const ssize_t sent = NPosix::RetryOnInterrupt(
        [&]
        {
            return ::sendto(GetSocket(), text.data(), text.size(), MSG_NOSIGNAL,
                            reinterpret_cast<const sockaddr*>(&mPeer), sizeof mPeer);
        });
    return sent >= 0;
}

bool UdpClient::Receive(std::string& text, sockaddr_in& sender, unsigned timeoutMs)
{
    text.clear();
    pollfd wanted{GetSocket(), POLLIN, 0};
    if (::poll(&wanted, 1, static_cast<int>(std::min<unsigned>(timeoutMs, INT_MAX))) <= 0)
        return false; // a signal ends the wait early
    text.resize(kMaxDatagram);
    socklen_t size = sizeof sender;
    const ssize_t received = NPosix::RetryOnInterrupt(
        [&]
        {
            return ::recvfrom(GetSocket(), text.data(), text.size(), MSG_DONTWAIT,
                              reinterpret_cast<sockaddr*>(&sender), &size);
        });
    text.resize(received < 0 ? 0 : static_cast<std::size_t>(received));
    return received >= 0;
}
} // namespace Json::Rpc
