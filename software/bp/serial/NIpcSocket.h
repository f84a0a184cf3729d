// Names and addresses of the local IPC's sockets.
#pragma once

#include <string>
#include <string_view>

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

/// Folder of a socket name, with a slash at its end; "./" for a bare name.
std::string GetRunDirectory(std::string_view socketName);

/// @throws CException "Socket name %s is too long: %zu bytes, the system allows %zu"
sockaddr_un MakeAddress(const std::string& name);
} // namespace NIpcSocket
