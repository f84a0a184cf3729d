// Lock, test, replace, listen; and a pause instead of a busy loop when descriptors run out.
#include "software/bp/serial/CIpcListener.h"

#include "software/bp/serial/NIpcSocket.h"
#include "software/include/ILog.h"
#include "software/utility/CException.h"
#include "software/utility/NPosix.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
constexpr char kSource[] = "software/bp/serial/CIpcListener";

constexpr mode_t kDirectoryMode = 0750;
constexpr mode_t kLockMode = 0640;
constexpr std::chrono::milliseconds kPause{100};

bool HasRunOut(int systemError) noexcept
{
    return systemError == EMFILE || systemError == ENFILE || systemError == ENOBUFS || systemError == ENOMEM;
}

void MakeRunDirectory(const std::string& path)
{
    if (std::error_code ignored; std::filesystem::is_directory(path, ignored))
        return;
    const std::filesystem::path directory = std::filesystem::path(path).parent_path(); // without the slash
    std::error_code error;
    std::filesystem::create_directories(directory.parent_path(), error); // mkdir tells of a failure
    if (::mkdir(directory.c_str(), kDirectoryMode) == 0)
    {
        if (::chmod(directory.c_str(), kDirectoryMode) != 0) // the umask may have taken bits away
            throw CException(__func__, kSource, __LINE__, true, "Unable to set the mode of %s",
                             directory.c_str());
    }
    else if (errno != EEXIST)
    {
        throw CException(__func__, kSource, __LINE__, true, "Unable to create the run directory %s",
                         directory.c_str());
    }
}

std::string DescribePeer(int socket, const sockaddr_un& address, socklen_t size)
{
    constexpr socklen_t kPathOffset = offsetof(sockaddr_un, sun_path);
    if (size > kPathOffset && address.sun_path[0] != '\0')
    {
        std::string name(address.sun_path, ::strnlen(address.sun_path, size - kPathOffset));
        const auto isControl = [](char c) { return static_cast<unsigned char>(c) < ' '; };
        std::replace_if(name.begin(), name.end(), isControl, '?'); // it goes into log lines
        return name;
    }
    ucred credentials{};
    socklen_t length = sizeof credentials;
    ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &length);
    return "pid " + std::to_string(credentials.pid);
}
} // namespace

CIpcListener::CIpcListener(const std::string& socketName, ILog& log)
    : mName(socketName)
    , mLog(log)
{
    NIpcSocket::MakeAddress(mName); // a name that is too long is refused before anything is made
    MakeRunDirectory(NIpcSocket::GetRunDirectory(mName));
    Lock();
    RemoveStale();
    mSocket = NIpcSocket::Listen(mName, SOCK_STREAM);
}

CIpcListener::~CIpcListener()
{
    ::unlink(mName.c_str()); // the lock is still held: nobody else's socket is there
}

void CIpcListener::Lock()
{
    const std::string lockName = mName + ".lock";
    mLock.Reset(NPosix::RetryOnInterrupt(
        [&] { return ::open(lockName.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kLockMode); }));
    if (!mLock.IsOpen())
        throw CException(__func__, kSource, __LINE__, true, "Unable to open the lock file %s",
                         lockName.c_str());
    if (NPosix::RetryOnInterrupt([&] { return ::flock(mLock.Get(), LOCK_EX | LOCK_NB); }) != 0)
    {
        if (errno == EWOULDBLOCK)
            ThrowInUse();
        throw CException(__func__, kSource, __LINE__, true, "Unable to lock %s", lockName.c_str());
    }
}

void CIpcListener::ThrowInUse() const
{
    throw CException("CIpcListener", kSource, __LINE__, false,
                     "Socket %s is served by another process already", mName.c_str());
}

// The lock tells of servers like this one; whoever listens without it is found by connecting.
void CIpcListener::RemoveStale() const
{
    struct stat status
    {
    };
    if (::lstat(mName.c_str(), &status) != 0)
    {
        if (errno == ENOENT)
            return;
        throw CException(__func__, kSource, __LINE__, true, "Unable to look at %s", mName.c_str());
    }
    if (!S_ISSOCK(status.st_mode))
        throw CException(__func__, kSource, __LINE__, false, "%s exists and is no socket", mName.c_str());
    if (!NIpcSocket::IsAbandoned(mName))
        ThrowInUse();
    if (::unlink(mName.c_str()) != 0 && errno != ENOENT)
        throw CException(__func__, kSource, __LINE__, true, "Unable to remove the old socket %s",
                         mName.c_str());
    mLog.LogFYI(eFyiStartup, "Socket %s was left by a process that is gone; replaced", mName.c_str());
}

CDescriptor CIpcListener::Accept(std::string& peer)
{
    sockaddr_un address{};
    socklen_t size = sizeof address;
    CDescriptor client(NPosix::RetryOnInterrupt(
        [&]
        {
            size = sizeof address;
            return ::accept4(mSocket.Get(), reinterpret_cast<sockaddr*>(&address), &size,
                             SOCK_NONBLOCK | SOCK_CLOEXEC);
        }));
    if (client.IsOpen())
    {
        mPaused = false;
        mHasRunOut = false;
        peer = DescribePeer(client.Get(), address, size);
    }
    else if (HasRunOut(errno))
    {
        Pause(errno);
    }
    return client;
}

// Without the pause the listener would stay ready and every pass would end at once, for nothing.
void CIpcListener::Pause(int systemError)
{
    mPaused = true;
    mPausedUntil = std::chrono::steady_clock::now() + kPause;
    if (!std::exchange(mHasRunOut, true))
        mLog.LogWarning("Unable to accept IPC clients: %s (%d); they wait until there is room",
                        std::strerror(systemError), systemError);
}

bool CIpcListener::Resume()
{
    if (!mPaused || std::chrono::steady_clock::now() < mPausedUntil)
        return false;
    mPaused = false;
    return true;
}
