// Thin wrappers around the socket calls: retried after EINTR, MSG_NOSIGNAL on every write.
#include "bench/support/NLoopback.h"

#include "software/utility/CException.h"
#include "software/utility/NHex.h"

#include <cerrno>
#include <ctime>
#include <vector>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

namespace
{
constexpr char kSource[] = "bench/support/NLoopback";
constexpr int kBacklog = 1024; // a load generator connects its 1000 clients faster than a server accepts them

template <typename Call>
auto Retry(Call call)
{
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

sockaddr_in MakeAddress(std::uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

sockaddr_un MakeAddress(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        throw CException(__func__, kSource, __LINE__, false, "Socket name %s is too long", path.c_str());
    path.copy(address.sun_path, path.size());
    return address;
}

CDescriptor MakeSocket(int family)
{
    CDescriptor socket(::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socket.IsOpen())
        throw CException(__func__, kSource, __LINE__, true, "Unable to make a socket");
    return socket;
}

void WaitNoLongerThanStalled(int socket)
{
    const timeval stalled{NLoopback::kStalledSeconds, 0};
    if (setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &stalled, sizeof stalled) != 0)
        throw CException(__func__, kSource, __LINE__, true, "Unable to set SO_RCVTIMEO");
}

std::size_t ReceiveWith(int socket, char* buffer, std::size_t size, int flags)
{
    const ssize_t count = Retry([&] { return recv(socket, buffer, size, flags); });
    if (count > 0)
        return static_cast<std::size_t>(count);
    if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
        return 0;
    throw CException(__func__, kSource, __LINE__, count < 0, "The server closed the connection");
}
} // namespace

CDescriptor NLoopback::Listen(std::uint16_t& port)
{
    CDescriptor listener = MakeSocket(AF_INET);
    sockaddr_in address = MakeAddress(0);
    socklen_t size = sizeof address;
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener.Get(), plain, size) != 0 || listen(listener.Get(), kBacklog) != 0 ||
        getsockname(listener.Get(), plain, &size) != 0)
        throw CException(__func__, kSource, __LINE__, true, "Unable to listen on 127.0.0.1");
    port = ntohs(address.sin_port);
    return listener;
}

CDescriptor NLoopback::Connect(std::uint16_t port)
{
    CDescriptor socket = MakeSocket(AF_INET);
    const sockaddr_in address = MakeAddress(port);
    if (connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        throw CException(__func__, kSource, __LINE__, true, "Unable to connect to 127.0.0.1:%d", port);
    WaitNoLongerThanStalled(socket.Get());
    SendAtOnce(socket.Get());
    return socket;
}

CDescriptor NLoopback::Listen(const std::string& path)
{
    CDescriptor listener = MakeSocket(AF_UNIX);
    const sockaddr_un address = MakeAddress(path);
    if (bind(listener.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener.Get(), kBacklog) != 0)
        throw CException(__func__, kSource, __LINE__, true, "Unable to listen on %s", path.c_str());
    return listener;
}

CDescriptor NLoopback::Connect(const std::string& path)
{
    CDescriptor socket = MakeSocket(AF_UNIX);
    const sockaddr_un address = MakeAddress(path);
    if (connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        throw CException(__func__, kSource, __LINE__, true, "Unable to connect to %s", path.c_str());
    WaitNoLongerThanStalled(socket.Get());
    return socket;
}

void NLoopback::SendAtOnce(int socket)
{
    const int on = 1;
    if (setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) != 0)
        throw CException(__func__, kSource, __LINE__, true, "Unable to set TCP_NODELAY");
}

void NLoopback::SendAll(int socket, std::string_view bytes)
{
    while (!bytes.empty())
    {
        const ssize_t count = Retry([&] { return send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL); });
        if (count < 0)
            throw CException(__func__, kSource, __LINE__, true, "Unable to send %zu bytes", bytes.size());
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

std::size_t NLoopback::Receive(int socket, char* buffer, std::size_t size)
{
    const std::size_t count = ReceiveWith(socket, buffer, size, 0);
    if (count == 0)
        throw CException(__func__, kSource, __LINE__, false, "Nothing came for %d s", kStalledSeconds);
    return count;
}

std::size_t NLoopback::ReceiveIfThere(int socket, char* buffer, std::size_t size)
{
    return ReceiveWith(socket, buffer, size, MSG_DONTWAIT);
}

std::string NLoopback::FromHex(std::string_view hex)
{
    std::vector<unsigned char> bytes;
    if (!NHex::FromText(hex, bytes))
        throw CException(__func__, kSource, __LINE__, false, "No pairs of hexadecimal digits");
    return {bytes.begin(), bytes.end()};
}

void NLoopback::RaiseDescriptorLimit()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        throw CException(__func__, kSource, __LINE__, true, "Unable to read the descriptor limit");
    limit.rlim_cur = limit.rlim_max;
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0)
        throw CException(__func__, kSource, __LINE__, true, "Unable to raise the descriptor limit");
}

std::chrono::nanoseconds NLoopback::GetCpuTime(pid_t pid)
{
    if (pid == 0)
        return std::chrono::nanoseconds(0);
    // The process's own CPU clock counts nanoseconds, where /proc/PID/stat counts ticks of 10 ms.
    clockid_t clock{};
    timespec time{};
    const int error = clock_getcpuclockid(pid, &clock);
    if (error != 0 || clock_gettime(clock, &time) != 0)
        throw CException(__func__, kSource, __LINE__, false, "Unable to read the CPU time of process %d",
                         pid);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}
