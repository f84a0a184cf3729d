// Dotted form first, because it needs no resolver.
#include "software/jsonrpc/NAddress.h"

#include <arpa/inet.h>
#include <netdb.h>

#include <cstring>
#include <memory>

std::optional<sockaddr_in> NAddress::Resolve(const std::string& host, unsigned short port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    if (::inet_pton(AF_INET, host.c_str(), &address.sin_addr) != 1)
    {
        addrinfo hints{};
        hints.ai_family = AF_INET;
        addrinfo* found = nullptr;
        if (::getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0)
            return std::nullopt;
        const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(found, &::freeaddrinfo);
        std::memcpy(&address, found->ai_addr, sizeof address);
    }
    address.sin_port = htons(port);
    return address;
}
