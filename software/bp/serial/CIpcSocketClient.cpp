// Blocking by a receive time-out of the socket itself: one system call a reply.
#include "software/bp/serial/CIpcSocketClient.h"

#include "software/bp/serial/NIpcSocket.h"
#include "software/utility/CException.h"
#include "software/utility/CIpcMessage.h"
#include "software/utility/NPosix.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace
{
constexpr char kSource[] = "software/bp/serial/CIpcSocketClient";

constexpr std::size_t kReadSize = 4096;
constexpr std::chrono::milliseconds kBusyInterval{10}; // between two tries to connect to a busy process

using Clock = std::chrono::steady_clock;

// Tells the clients of this process apart, whatever they are called; never used twice.
int NextCounter() noexcept
{
    static std::atomic<int> counter{0};
    return counter++;
}

Clock::time_point DeadlineAfter(unsigned timeoutMs)
{
    return Clock::now() + std::chrono::milliseconds(timeoutMs);
}

// @returns false when the deadline has passed
bool AwaitRoom(int socket, Clock::time_point deadline)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0)
        return false;
    pollfd room{socket, POLLOUT, 0};
    ::poll(&room, 1, static_cast<int>(std::min<long long>(left, INT_MAX))); // EINTR: looked at again
    return true;
}
} // namespace

CIpcSocketClient::CIpcSocketClient(const char* uniqueName, const std::string& runDirectory)
    : mServerName(NIpcSocket::MakeServerName(runDirectory))
    , mName(NIpcSocket::MakeClientName(runDirectory, uniqueName, NextCounter()))
    , mInput(CIpcMessage::kMaxSize + kReadSize) // a half reply always leaves room for a read
    , mNotifyServer(NIpcSocket::MakeAbsolute(mName + NIpcSocket::kNotifyEnding))
{
    NIpcSocket::MakeAddress(mServerName); // the longest name passed when the notification server was made
}

CIpcSocketClient::~CIpcSocketClient()
{
    CIpcSocketClient::Disconnect();
}

bool CIpcSocketClient::Send(CIpcMessage& message, unsigned timeoutMs)
{
    unsigned char* bytes = nullptr;
    const unsigned size = message.SerializeMessage(bytes);
    if (size > CIpcMessage::kMaxSize)
        throw CException(__func__, kSource, __LINE__, false, "A message of %u bytes is too large", size);

    const TimePoint deadline = DeadlineAfter(timeoutMs == 0 ? kDefaultTimeoutMs : timeoutMs);
    const bool wasConnected = mSocket.IsOpen();
    if (!wasConnected && !Connect(deadline))
        return false;
    ESend result = SendBytes(bytes, size, deadline);
    if (result == ESend::Broken && wasConnected)
    {
        Disconnect();
        if (!Connect(deadline))
            return false;
        result = SendBytes(bytes, size, deadline);
    }
    if (result == ESend::Sent)
        return true;
    Disconnect(); // half a message may have left
    if (result == ESend::Broken)
        throw CException(__func__, kSource, __LINE__, false, "%s closed the connection", mServerName.c_str());
    return false;
}

bool CIpcSocketClient::Connect(TimePoint deadline)
{
    mSocket.Reset(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!mSocket.IsOpen())
        throw CException(__func__, kSource, __LINE__, true, "Unable to create a socket");
    Bind();
    for (;;)
    {
        const int error = NIpcSocket::Connect(mSocket, mServerName);
        if (error == 0)
            break;
        if (error == EAGAIN && Clock::now() < deadline)
        {
            std::this_thread::sleep_for(kBusyInterval);
            continue;
        }
        Disconnect();
        if (error == EAGAIN)
            return false;
        errno = error;
        throw CException(__func__, kSource, __LINE__, true, "Unable to connect to %s", mServerName.c_str());
    }
    // From here on only receiving waits, by the socket's own time-out.
    if (::fcntl(mSocket.Get(), F_SETFL, 0) != 0)
    {
        Disconnect();
        throw CException(__func__, kSource, __LINE__, true, "Unable to make a socket wait");
    }
    mReceiveTimeout = std::chrono::milliseconds(0);
    return true;
}

// The name tells the control process who is speaking. A process that may use the control socket, but not make
// files beside it, goes without. A file of this name can only be left from an earlier process of this number.
void CIpcSocketClient::Bind()
{
    const sockaddr_un address = NIpcSocket::MakeAddress(mName);
    const auto bind = [&]
    { return ::bind(mSocket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0; };
    mBound = bind() || (errno == EADDRINUSE && ::unlink(mName.c_str()) == 0 && bind());
}

CIpcSocketClient::ESend CIpcSocketClient::SendBytes(const unsigned char* bytes, std::size_t size,
                                                    TimePoint deadline)
{
    while (size > 0)
    {
        const ssize_t count = NPosix::RetryOnInterrupt(
            [&] { return ::send(mSocket.Get(), bytes, size, MSG_DONTWAIT | MSG_NOSIGNAL); });
        if (count >= 0)
        {
            bytes += count;
            size -= static_cast<std::size_t>(count);
        }
        else if (errno != EAGAIN)
        {
            return ESend::Broken;
        }
        else if (!AwaitRoom(mSocket.Get(), deadline))
        {
            return ESend::TimedOut;
        }
    }
    return ESend::Sent;
}

bool CIpcSocketClient::Receive(CIpcMessage& reply, unsigned timeoutMs)
{
    if (!mSocket.IsOpen())
        throw CException(__func__, kSource, __LINE__, false, "Not connected to %s", mServerName.c_str());
    const TimePoint deadline = DeadlineAfter(timeoutMs);
    std::chrono::milliseconds left(
        timeoutMs); // the whole time at first: the socket has it from the last reply
    while (!TakeReply(reply))
    {
        if (left.count() <= 0)
            return false;
        Fill(left);
        left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    }
    return true;
}

// @returns false when no whole reply has arrived yet
bool CIpcSocketClient::TakeReply(CIpcMessage& reply)
{
    const unsigned char* const bytes = mInput.data() + mTaken;
    const std::size_t available = mFilled - mTaken;
    std::size_t length = 0;
    const bool sound = CIpcMessage::MeasureMessage(bytes, available, length);
    if (sound && (length == 0 || available < length))
        return false;
    if (!sound || !CIpcMessage::IsWellFormed(bytes, length))
    {
        Disconnect();
        throw CException(__func__, kSource, __LINE__, false, "%s sent what is no message",
                         mServerName.c_str());
    }
    reply.DeserializeMessage(bytes, mServerName.c_str());
    mTaken += length;
    return true;
}

// Waits for more bytes, at most this long.
void CIpcSocketClient::Fill(std::chrono::milliseconds wait)
{
    std::copy(mInput.begin() + static_cast<std::ptrdiff_t>(mTaken),
              mInput.begin() + static_cast<std::ptrdiff_t>(mFilled), mInput.begin());
    mFilled -= mTaken;
    mTaken = 0;

    SetReceiveTimeout(wait);
    const ssize_t count = ::recv(mSocket.Get(), mInput.data() + mFilled, kReadSize, 0);
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return; // the caller looks at the clock
    if (count > 0)
    {
        mFilled += static_cast<std::size_t>(count);
        return;
    }
    const int error = count < 0 ? errno : 0;
    Disconnect();
    if (error == 0)
        throw CException(__func__, kSource, __LINE__, false, "%s closed the connection", mServerName.c_str());
    errno = error;
    throw CException(__func__, kSource, __LINE__, true, "Connection to %s lost", mServerName.c_str());
}

void CIpcSocketClient::SetReceiveTimeout(std::chrono::milliseconds wait)
{
    if (wait == mReceiveTimeout)
        return;
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(wait);
    timeval value{};
    value.tv_sec = static_cast<time_t>(seconds.count());
    value.tv_usec = static_cast<suseconds_t>(std::chrono::microseconds(wait - seconds).count());
    if (::setsockopt(mSocket.Get(), SOL_SOCKET, SO_RCVTIMEO, &value, sizeof value) != 0)
        throw CException(__func__, kSource, __LINE__, true, "Unable to set a time-out");
    mReceiveTimeout = wait;
}

void CIpcSocketClient::Disconnect() noexcept
{
    mSocket.Reset();
    if (mBound)
        ::unlink(mName.c_str());
    mBound = false;
    mFilled = 0;
    mTaken = 0;
}

void CIpcSocketClient::ProcessNotify(std::list<CIpcMessage>& notifications)
{
    if (!mNotifyHandler)
        return mNotifyServer.Collect(notifications);
    std::list<CIpcMessage> collected;
    mNotifyServer.Collect(collected);
    for (const CIpcMessage& notification : collected)
        mNotifyHandler(notification);
}
