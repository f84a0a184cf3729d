// Datagrams in the form that the C library's syslog() sends: "<30>Nov 21 06:00:00 lanternd[123]: TEXT".
#include "software/utility/CSyslogSocket.h"

#include "software/utility/CException.h"
#include "software/utility/NPosix.h"

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <utility>

#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

namespace
{
constexpr char kSource[] = "software/utility/CSyslogSocket";
constexpr unsigned kRetryMs = 1000; // between attempts to connect

// English whatever the locale: the daemon reads them.
constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

std::string MakeStart(int severity)
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    char text[64];
    std::snprintf(text, sizeof text, "<%d>%s %2d %02d:%02d:%02d ", LOG_MAKEPRI(LOG_DAEMON, severity),
                  kMonths[local.tm_mon], local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    return text;
}
} // namespace

CSyslogSocket::CSyslogSocket(std::string path, std::string ident, const IMonotonicClock& clock)
    : mPath(std::move(path))
    , mIdent(std::move(ident))
    , mSinceTry(clock)
{
    Connect();
}

void CSyslogSocket::Write(int severity, std::string_view text)
{
    const std::string line =
        MakeStart(severity).append(mIdent).append("[" + std::to_string(::getpid()) + "]: ").append(text);
    if (Send(line))
        return;
    if (!mSocket.IsOpen() && mSinceTry.HasTimerExpiredMs(kRetryMs) && Connect() && Send(line))
        return;
    errno = mError;
    throw CException(__func__, kSource, __LINE__, true, "Unable to write to the system log at %s",
                     mPath.c_str());
}

bool CSyslogSocket::Send(const std::string& line) noexcept
{
    if (!mSocket.IsOpen())
        return false;
    const ssize_t sent = NPosix::RetryOnInterrupt(
        [&] { return ::send(mSocket.Get(), line.data(), line.size(), MSG_DONTWAIT | MSG_NOSIGNAL); });
    if (sent >= 0)
        return true;
    mError = errno;
    if (mError != EAGAIN) // whoever was there is gone
        mSocket.Reset();
    return false;
}

bool CSyslogSocket::Connect() noexcept
{
    mSinceTry.ArmTimer();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (mPath.size() >= sizeof address.sun_path)
    {
        mError = ENAMETOOLONG;
        return false;
    }
    mPath.copy(address.sun_path, mPath.size());
    CDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!socket.IsOpen() ||
        ::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    {
        mError = errno;
        return false;
    }
    mSocket = std::move(socket);
    return true;
}
