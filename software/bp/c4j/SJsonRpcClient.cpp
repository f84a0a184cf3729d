// Who is at the other end.
#include "software/bp/c4j/SJsonRpcClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <utility>

std::uint32_t SJsonRpcClient::mGlobalId = 1;

namespace
{
// A peer that has gone already is 0.0.0.0-0.
std::string MakeName(int socket)
{
    sockaddr_in peer{};
    socklen_t size = sizeof peer;
    if (::getpeername(socket, reinterpret_cast<sockaddr*>(&peer), &size) != 0 || peer.sin_family != AF_INET)
        peer = {};
    char address[INET_ADDRSTRLEN] = "";
    ::inet_ntop(AF_INET, &peer.sin_addr, address, sizeof address);
    return std::string(address) + '-' + std::to_string(ntohs(peer.sin_port));
}
} // namespace

SJsonRpcClient::SJsonRpcClient(int socket)
    : mSocket(socket)
    , mId(std::exchange(mGlobalId, NextId(mGlobalId)))
    , mName(MakeName(socket))
{
}
