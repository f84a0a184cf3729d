// Names and addresses of the local IPC's sockets.
#pragma once

#include "software/utility/CDescriptor.h"

#include <cstddef>
#include <string>
#include <string_view>

#include <sys/types.h>
#include <sys/un.h>

namespace NIpcSocket
{
constexpr char kRunDirectory[] = "/var/run/ui/"; ///< default of every run directory
constexpr char kServerName[] = "main_controller.socket";
constexpr char kNotifyEnding[] = ".notify";

/// The socket of the control process: "RUN-DIR/main_controller.socket".
std::string MakeServerName(std::string_view runDirectory = kRunDirectory);

/// A client's own socket, "RUN-DIR/PID_NAME_COUNTER"; its notification socket has ".notify" behind that.
/// @param uniqueName  cut to 38 bytes; every "/" becomes "_"
/// @throws CException "Invalid socket name - a unique name must be specified" when it is empty or null
std::string MakeClientName(std::string_view runDirectory, const char* uniqueName, int counter);

/// The process that a client's socket is named after, with or without ".notify".
/// @param fileName  without its folder
/// @returns 0 for a file that is called otherwise
pid_t GetOwner(std::string_view fileName) noexcept;

/// Folder of a socket name, with a slash at its end; "./" for a bare name.
std::string GetRunDirectory(std::string_view socketName);

/// The same name for every process, whatever folder it works in. One that would be too long stays as it is.
std::string MakeAbsolute(const std::string& name);

/// The name that the control process gives to a socket of its run directory, whichever way there the given
/// name takes. @returns empty for a name outside, or of a link
std::string FindInRunDirectory(const std::string& runDirectory, const std::string& name);

constexpr std::size_t kMaxName = sizeof(sockaddr_un::sun_path) - 1; ///< bytes
bool Fits(const std::string& name) noexcept; ///< neither empty nor too long, and without a NUL

/// @throws CException "Socket name %s is too long: %zu bytes, the system allows %zu"
sockaddr_un MakeAddress(const std::string& name);

/// Whether nobody listens on a socket that is there.
bool IsAbandoned(const std::string& name);

/// Removes the sockets of clients that are gone without having removed them: those of a process that does not
/// exist, with nobody listening. What is called otherwise, or is no socket, stays.
/// @returns how many
std::size_t RemoveLeft(const std::string& runDirectory);

/// A non-blocking listener whose file any process with these permissions may connect to.
/// @param type         SOCK_STREAM or SOCK_SEQPACKET
/// @throws CException  "Unable to listen on %s" with the system error, and as `MakeAddress`
CDescriptor Listen(const std::string& name, int type);

/// Connects a non-blocking socket; never waits. @returns 0 or the system error; EAGAIN: the listener is busy
int Connect(const CDescriptor& socket, const std::string& name);
} // namespace NIpcSocket
