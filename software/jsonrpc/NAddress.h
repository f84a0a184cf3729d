// IPv4 addresses of hosts.
#pragma once

#include <netinet/in.h>

#include <optional>
#include <string>

namespace NAddress
{
/// The address of a host given in dotted form or by name, together with the port (host order). A name is
/// asked of the system's resolver, which may take seconds.
/// @returns nothing for a name that is unknown or has no IPv4 address
std::optional<sockaddr_in> Resolve(const std::string& host, unsigned short port);
} // namespace NAddress
