// Sockets on 127.0.0.1 and Unix sockets, and the resources of a process, as the measuring programs need them.
#pragma once

#include "software/utility/CDescriptor.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <sys/types.h>

/// Every function throws `CException` when the system refuses; a measurement that goes wrong ends loudly.
namespace NLoopback
{
constexpr char kMessageEnd = '\0'; ///< ends every message, in both directions
constexpr int kStalledSeconds = 5;

/// A listening TCP socket on a free port of 127.0.0.1; `port` becomes that port.
CDescriptor Listen(std::uint16_t& port);

/// A connected, blocking TCP socket that sends at once (TCP_NODELAY). It waits for bytes for
/// `kStalledSeconds` at most: a server that is silent for so long has failed.
CDescriptor Connect(std::uint16_t port);
void SendAtOnce(int socket); ///< sets TCP_NODELAY

/// The same as Unix stream sockets.
CDescriptor Listen(const std::string& path);
CDescriptor Connect(const std::string& path);

void SendAll(int socket, std::string_view bytes); ///< blocks until all is written

/// Receives what is there, at least one byte, and blocks until then. @returns the number of bytes
std::size_t Receive(int socket, char* buffer, std::size_t size);
/// The same without blocking. @returns 0 when nothing is there yet
std::size_t ReceiveIfThere(int socket, char* buffer, std::size_t size);

std::string FromHex(std::string_view hex); ///< @throws CException unless it is pairs of digits

void RaiseDescriptorLimit(); ///< to what the system allows this user, for programs with over 1000 sockets

/// CPU time that all threads of another process have used so far, user and system; 0 for pid 0.
std::chrono::nanoseconds GetCpuTime(pid_t pid);
} // namespace NLoopback
