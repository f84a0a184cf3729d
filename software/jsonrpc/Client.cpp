// Connecting with a limit on the wait.
#include "software/jsonrpc/Client.h"

#include "software/jsonrpc/NAddress.h"
#include "software/utility/NPosix.h"

#include <fcntl.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>

namespace
{
using Clock = std::chrono::steady_clock;

// What is left until the deadline, as poll takes it.
int RemainingMs(Clock::time_point deadline)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
}

// Awaits a connection that is under way. An interrupted connect goes on too; it is never called again.
bool AwaitConnection(int descriptor, int timeoutMs)
{
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    pollfd wanted{descriptor, POLLOUT, 0};
    const int ready = NPosix::RetryOnInterrupt(
        [&] { return ::poll(&wanted, 1, timeoutMs < 0 ? -1 : RemainingMs(deadline)); });
    if (ready <= 0)
    {
        errno = ready == 0 ? ETIMEDOUT : errno;
        return false;
    }
    int error = 0;
    socklen_t size = sizeof error;
    if (::getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size) != 0)
        return false;
    errno = error;
    return error == 0;
}

bool ConnectTo(int descriptor, const sockaddr_in& address, int timeoutMs)
{
    if (::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    {
        if ((errno != EINPROGRESS && errno != EINTR) || !AwaitConnection(descriptor, timeoutMs))
            return false;
    }
    const int on = 1; // requests are small and wait for nothing
    (void)::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const int flags = ::fcntl(descriptor, F_GETFL);
    return flags >= 0 && ::fcntl(descriptor, F_SETFL, flags & ~O_NONBLOCK) == 0;
}
} // namespace

namespace Json::Rpc
{
Client::Client(const std::string& address, unsigned short port)
    : mAddress(address)
    , mPort(port)
    , mProtocol(IPPROTO_TCP)
{
}

bool Client::Connect(int timeoutMs)
{
    Close();
    const auto address = NAddress::Resolve(mAddress, mPort);
    if (!address)
    {
        errno = EADDRNOTAVAIL;
        return false;
    }
    CDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_TCP));
    if (!socket.IsOpen())
        return false;
    if (!ConnectTo(socket.Get(), *address, timeoutMs))
    {
        const int error = errno;
        socket.Reset();
        errno = error; // closing may change it
        return false;
    }
    mSocket = std::move(socket);
    return true;
}

void Client::Close()
{
    mSocket.Reset();
}
} // namespace Json::Rpc
