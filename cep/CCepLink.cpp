// What was read is searched before it is waited for more, and once more at the end: a damaged length may have
// hidden the reply.
#include "cep/CCepLink.h"

#include "cep/CCepMessage.h"
#include "software/utility/NPosix.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <poll.h>
#include <sys/socket.h>
#include <utility>

using namespace LibMarlix;

namespace
{
constexpr std::size_t kCapacity = 65'536; // bytes; the longest reply
constexpr std::size_t kReadSize = 4096;   // bytes

// @returns false once the deadline has passed, even if the socket is ready: a module that talks without pause
//          would never let it pass otherwise
bool WaitFor(const CDescriptor& socket, short events, std::chrono::steady_clock::time_point deadline)
{
    using std::chrono::milliseconds;
    const auto left = std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now()).count();
    if (left <= 0)
        return false;
    pollfd wanted{socket.Get(), events, 0};
    // An interrupted wait counts as ready; the call that follows says EAGAIN and comes back here.
    return ::poll(&wanted, 1, static_cast<int>(std::min<std::int64_t>(left, INT_MAX))) != 0;
}

bool IsWorthWaiting(int error) noexcept
{
    return error == EAGAIN || error == EWOULDBLOCK;
}
} // namespace

CCepLink::CCepLink(CDescriptor socket, CCepParser::ECrc crc)
    : mSocket(std::move(socket))
    , mCrc(crc)
    , mParser(kCapacity)
{
}

CCepLink::EResult CCepLink::request(CCepMessage& request, std::unique_ptr<CCepMessage>& reply,
                                    std::chrono::milliseconds timeout)
{
    if (!mSocket.IsOpen())
        return EResult::Lost;
    request.setSequenceNumber(++mSequenceNumber);
    std::size_t size = 0;
    const std::unique_ptr<unsigned char[]> bytes(request.toBytes(request.getFormat(), size, true));
    if (!bytes)
        return EResult::TooLong;

    const Time deadline = std::chrono::steady_clock::now() + timeout;
    EResult result = send(bytes.get(), size, deadline);
    while (result == EResult::Answered && !findReply(mSequenceNumber, reply))
        result = read(deadline);
    if (result != EResult::NoAnswer)
        return result;
    while (mParser.dropPending() > 0)
    {
        if (findReply(mSequenceNumber, reply))
            return EResult::Answered;
    }
    return result;
}

// @returns `Answered` when all of it is on its way
CCepLink::EResult CCepLink::send(const unsigned char* bytes, std::size_t size, Time deadline)
{
    const std::size_t whole = size;
    while (size > 0)
    {
        const ssize_t sent = NPosix::RetryOnInterrupt(
            [&] { return ::send(mSocket.Get(), bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT); });
        if (sent < 0 && !IsWorthWaiting(errno))
            return lose();
        if (sent > 0)
        {
            bytes += sent;
            size -= static_cast<std::size_t>(sent);
        }
        else if (!WaitFor(mSocket, POLLOUT, deadline))
            return size == whole ? EResult::NoAnswer : lose(); // half a request spoils what follows
    }
    return EResult::Answered;
}

// @returns `Answered` when there is something new
CCepLink::EResult CCepLink::read(Time deadline)
{
    if (!WaitFor(mSocket, POLLIN, deadline))
        return EResult::NoAnswer;
    std::array<unsigned char, kReadSize> bytes;
    const std::size_t wanted = std::min(bytes.size(), mParser.getRoom()); // never 0 after a search
    const ssize_t count =
        NPosix::RetryOnInterrupt([&] { return ::recv(mSocket.Get(), bytes.data(), wanted, MSG_DONTWAIT); });
    if (count < 0 && IsWorthWaiting(errno))
        return EResult::Answered;
    if (count <= 0)
        return lose();
    mParser.addData(bytes.data(), static_cast<std::size_t>(count));
    return EResult::Answered;
}

bool CCepLink::findReply(std::uint8_t sequenceNumber, std::unique_ptr<CCepMessage>& reply)
{
    for (;;)
    {
        CCepParser::SReceived received = mParser.receive(mCrc);
        if (!received.mMessage)
            return false;
        if (received.mMessage->getSequenceNumber() != sequenceNumber)
            continue; // the late reply to a request that was given up
        reply = std::move(received.mMessage);
        return true;
    }
}

CCepLink::EResult CCepLink::lose() noexcept
{
    mSocket.Reset();
    return EResult::Lost;
}
