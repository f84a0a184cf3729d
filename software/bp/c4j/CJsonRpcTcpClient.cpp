// Framing by NUL, client side.
#include "software/bp/c4j/CJsonRpcTcpClient.h"

#include "software/utility/CException.h"
#include "software/utility/NPosix.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <string_view>

namespace
{
constexpr char kSource[] = "software/bp/c4j/CJsonRpcTcpClient";
constexpr std::size_t kReceiveBytes = 1500;

// What servers send that is no message.
bool IsNoise(std::string_view message)
{
    return message.empty() || (message[0] >= '0' && message[0] <= '9');
}

bool WaitWritable(int socket, int timeoutMs)
{
    pollfd wanted{socket, POLLOUT, 0};
    return NPosix::RetryOnInterrupt([&] { return ::poll(&wanted, 1, timeoutMs); }) > 0;
}
} // namespace

CJsonRpcTcpClient::CJsonRpcTcpClient(const std::string& address, unsigned short port)
    : Client(address, port)
{
    SetProtocol(IPPROTO_TCP);
}

bool CJsonRpcTcpClient::Connect(int timeoutMs)
{
    mPending.clear();
    return Client::Connect(timeoutMs);
}

void CJsonRpcTcpClient::Send(const std::string& text)
{
    const bool endsInNul = !text.empty() && text.back() == '\0';
    const std::size_t size = text.size() + (endsInNul ? 0 : 1); // a std::string has a NUL behind its end
    std::size_t sent = 0;
    while (sent < size)
    {
        const ssize_t step = NPosix::RetryOnInterrupt(
            [&]
            { return ::send(GetSocket(), text.c_str() + sent, size - sent, MSG_DONTWAIT | MSG_NOSIGNAL); });
        if (step >= 0)
        {
            sent += static_cast<std::size_t>(step);
            continue;
        }
        if (sent > 0 && errno == EAGAIN && WaitWritable(GetSocket(), kSendTimeoutMs))
            continue;
        const CException failure(__func__, kSource, __LINE__, true, "Unable to send data to server");
        if (sent > 0)
            Close(); // after half a message no other can follow
        throw failure;
    }
}

void CJsonRpcTcpClient::Recv(std::deque<std::string>& messages, bool blocking)
{
    std::array<char, kReceiveBytes> buffer;
    const ssize_t received = NPosix::RetryOnInterrupt(
        [&] { return ::recv(GetSocket(), buffer.data(), buffer.size(), blocking ? 0 : MSG_DONTWAIT); });
    if (received < 0 && errno == EAGAIN && !blocking)
        return;
    if (received <= 0)
        throw CException(__func__, kSource, __LINE__, received < 0, "Unable to recv data from server");

    std::string_view bytes(buffer.data(), static_cast<std::size_t>(received));
    for (std::size_t end = bytes.find('\0'); end != std::string_view::npos; end = bytes.find('\0'))
    {
        mPending.append(bytes, 0, end);
        if (!IsNoise(mPending))
            messages.push_back(std::move(mPending));
        mPending.clear();
        bytes.remove_prefix(end + 1);
    }
    mPending += bytes;
    if (mPending.size() > kMaxPending)
        throw CException(__func__, kSource, __LINE__, false, "Unable to recv data from server");
}

void CJsonRpcTcpClient::Recv(std::string&)
{
    throw CException(__func__, kSource, __LINE__, false,
                     "Not implemented.  Use Recv(std::deque<std::string>) instead");
}
