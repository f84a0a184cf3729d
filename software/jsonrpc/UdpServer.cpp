// Datagrams in and out; the socket never blocks.
#include "software/jsonrpc/UdpServer.h"

#include "software/utility/NPosix.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <climits>

namespace Json::Rpc
{
UdpServer::UdpServer(const std::string& address, unsigned short port)
    : Server(address, port)
{
    SetProtocol(IPPROTO_UDP);
}

bool UdpServer::WaitMessage(unsigned timeoutMs)
{
    pollfd wanted{GetSocket(), POLLIN, 0};
    const int timeout = static_cast<int>(std::min<unsigned>(timeoutMs, INT_MAX));
    // A signal ends the wait early, as it ends that of a server of connections.
    return ::poll(&wanted, 1, timeout) > 0 && Recv(GetSocket());
}

bool UdpServer::Recv(int)
{
    std::string text;
    sockaddr_in sender{};
    if (!Receive(text, sender))
        return false;
    Answer(text, sender);
    return true;
}

bool UdpServer::Receive(std::string& text, sockaddr_in& sender)
{
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

bool UdpServer::SendTo(const std::string& text, const sockaddr_in& receiver)
{
    const ssize_t sent = NPosix::RetryOnInterrupt(
        [&]
        {
            return ::sendto(GetSocket(), text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                            reinterpret_cast<const sockaddr*>(&receiver), sizeof receiver);
        });
    return sent >= 0;
}

void UdpServer::Answer(const std::string& text, const sockaddr_in& sender)
{
    Json::Value response;
    GetHandler().Process(text, response, -1);
    if (!response.isNull())
        (void)SendTo(Handler::GetString(response), sender); // a datagram may be lost anyway
}
} // namespace Json::Rpc
