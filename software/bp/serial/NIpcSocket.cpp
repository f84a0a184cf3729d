// How sockets are called, and how long a name may be.
#include "software/bp/serial/NIpcSocket.h"

#include "software/utility/CException.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
constexpr char kSource[] = "software/bp/serial/NIpcSocket";

constexpr std::size_t kMaxUniqueName = 38; // bytes
constexpr mode_t kSocketMode = 0660;

const sockaddr* AsGeneric(const sockaddr_un& address) noexcept
{
    return reinterpret_cast<const sockaddr*>(&address);
}

std::string WithSlash(std::string_view folder)
{
    std::string path(folder.empty() ? "." : folder);
    if (path.back() != '/')
        path += '/';
    return path;
}
} // namespace

std::string NIpcSocket::MakeServerName(std::string_view runDirectory)
{
    return WithSlash(runDirectory) + kServerName;
}

std::string NIpcSocket::MakeClientName(std::string_view runDirectory, const char* uniqueName, int counter)
{
    std::string unique(uniqueName == nullptr ? "" : uniqueName);
    if (unique.empty())
        throw CException(__func__, kSource, __LINE__, false,
                         "Invalid socket name - a unique name must be specified");
    unique.resize(std::min(unique.size(), kMaxUniqueName));
    std::replace(unique.begin(), unique.end(), '/', '_');
    return WithSlash(runDirectory) + std::to_string(::getpid()) + '_' + unique + '_' +
           std::to_string(counter);
}

std::string NIpcSocket::GetRunDirectory(std::string_view socketName)
{
    const std::size_t slash = socketName.rfind('/');
    return slash == std::string_view::npos ? "./" : std::string(socketName.substr(0, slash + 1));
}

bool NIpcSocket::Fits(const std::string& name) noexcept
{
    return !name.empty() && name.size() <= kMaxName && name.find('\0') == std::string::npos;
}

sockaddr_un NIpcSocket::MakeAddress(const std::string& name)
{
    if (!Fits(name))
        throw CException(__func__, kSource, __LINE__, false,
                         "Socket name %s is too long: %zu bytes, the system allows %zu", name.c_str(),
                         name.size(), kMaxName);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name.c_str(), name.size());
    return address;
}

bool NIpcSocket::IsAbandoned(const std::string& name)
{
    const CDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    // A listener that is busy, or of another type, gives another error than one that is gone.
    return socket.IsOpen() && Connect(socket, name) == ECONNREFUSED;
}

CDescriptor NIpcSocket::Listen(const std::string& name, int type)
{
    const sockaddr_un address = MakeAddress(name);
    CDescriptor socket(::socket(AF_UNIX, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    // The mode is set before the file exists, so that it is never too open, and again after the umask.
    if (!socket.IsOpen() || ::fchmod(socket.Get(), kSocketMode) != 0 ||
        ::bind(socket.Get(), AsGeneric(address), sizeof address) != 0 ||
        ::chmod(name.c_str(), kSocketMode) != 0 || ::listen(socket.Get(), SOMAXCONN) != 0)
        throw CException(__func__, kSource, __LINE__, true, "Unable to listen on %s", name.c_str());
    return socket;
}

int NIpcSocket::Connect(const CDescriptor& socket, const std::string& name)
{
    const sockaddr_un address = MakeAddress(name);
    return ::connect(socket.Get(), AsGeneric(address), sizeof address) == 0 ? 0 : errno;
}
