// How sockets are called, and how long a name may be.
#include "software/bp/serial/NIpcSocket.h"

#include "software/utility/CException.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <system_error>

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

pid_t NIpcSocket::GetOwner(std::string_view fileName) noexcept
{
    constexpr std::string_view kDigits = "0123456789";
    const std::string_view ending = kNotifyEnding;
    if (fileName.size() > ending.size() && fileName.substr(fileName.size() - ending.size()) == ending)
        fileName.remove_suffix(ending.size());
    const std::size_t pidEnd = fileName.find('_');
    const std::size_t counter = fileName.rfind('_');
    if (pidEnd == std::string_view::npos || counter < pidEnd + 2 || counter + 1 == fileName.size() ||
        fileName.find_first_not_of(kDigits, counter + 1) != std::string_view::npos)
        return 0;
    pid_t owner = 0;
    const char* const end = fileName.data() + pidEnd;
    const auto [parsed, error] = std::from_chars(fileName.data(), end, owner);
    return error == std::errc() && parsed == end && owner > 0 ? owner : 0;
}

std::string NIpcSocket::GetRunDirectory(std::string_view socketName)
{
    const std::size_t slash = socketName.rfind('/');
    return slash == std::string_view::npos ? "./" : std::string(socketName.substr(0, slash + 1));
}

std::string NIpcSocket::MakeAbsolute(const std::string& name)
{
    std::error_code error;
    const std::string absolute = std::filesystem::absolute(name, error).string();
    return error || !Fits(absolute) ? name : absolute;
}

// Folders are compared, not their names: /run/ui and /var/run/ui may be one. The name is then put together
// anew, so that nothing of the given path but its last part counts.
std::string NIpcSocket::FindInRunDirectory(const std::string& runDirectory, const std::string& name)
{
    struct stat own
    {
    };
    struct stat given
    {
    };
    if (!Fits(name) || ::stat(runDirectory.c_str(), &own) != 0 ||
        ::stat(GetRunDirectory(name).c_str(), &given) != 0 || own.st_dev != given.st_dev ||
        own.st_ino != given.st_ino)
        return "";
    std::string found = WithSlash(runDirectory) + name.substr(name.rfind('/') + 1);
    const bool isLink = ::lstat(found.c_str(), &given) == 0 && S_ISLNK(given.st_mode); // it may lead outside
    return isLink || !Fits(found) ? "" : found;
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

std::size_t NIpcSocket::RemoveLeft(const std::string& runDirectory)
{
    std::size_t removed = 0;
    std::error_code error;
    std::filesystem::directory_iterator entry(runDirectory, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error))
    {
        const std::string name = entry->path().string();
        const pid_t owner = GetOwner(entry->path().filename().string());
        if (owner == 0 || ::kill(owner, 0) == 0 || errno != ESRCH || !Fits(name))
            continue;
        struct stat status
        {
        };
        // A process may be unknown here and live in another container: its notification socket answers.
        if (::lstat(name.c_str(), &status) == 0 && S_ISSOCK(status.st_mode) && IsAbandoned(name) &&
            ::unlink(name.c_str()) == 0)
            ++removed;
    }
    return removed;
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
