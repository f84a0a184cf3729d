// Framing by the length in each header, and an output that never blocks.
#include "software/bp/serial/CIpcConnection.h"

#include "software/utility/CIpcMessage.h"
#include "software/utility/NPosix.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include <sys/socket.h>

namespace
{
// A half message is always shorter than the longest whole one, so there is always room for a read behind it.
constexpr std::size_t kInputSize = CIpcMessage::kMaxSize + CIpcConnection::kReadSize;
constexpr std::size_t kKeptOutput =
    std::size_t{64} * 1024; // bytes of an empty output buffer that stay allocated

bool WouldBlock(int systemError) noexcept
{
    return systemError == EAGAIN || systemError == EWOULDBLOCK || systemError == ENOBUFS ||
           systemError == ENOMEM;
}

std::string DescribeStart(const unsigned char* bytes, std::size_t length)
{
    char text[64];
    if (length == 0)
        std::snprintf(text, sizeof text, "a message starts with %02X %02X", bytes[0], bytes[1]);
    else
        std::snprintf(text, sizeof text, "header says %zu bytes", length);
    return text;
}
} // namespace

CIpcConnection::CIpcConnection(CDescriptor socket, std::string name)
    : mSocket(std::move(socket))
    , mName(std::move(name))
    , mInput(kInputSize)
{
}

CIpcConnection::ERead CIpcConnection::Read()
{
    std::copy(mInput.begin() + static_cast<std::ptrdiff_t>(mTaken),
              mInput.begin() + static_cast<std::ptrdiff_t>(mFilled), mInput.begin());
    mFilled -= mTaken;
    mTaken = 0;
    const ssize_t count = NPosix::RetryOnInterrupt(
        [&] { return ::recv(mSocket.Get(), mInput.data() + mFilled, kReadSize, MSG_DONTWAIT); });
    if (count < 0)
        return WouldBlock(errno) ? ERead::Nothing : ERead::Closed;
    mFilled += static_cast<std::size_t>(count);
    return count == 0 ? ERead::Closed : ERead::Data;
}

const unsigned char* CIpcConnection::NextMessage(std::string& error)
{
    error.clear();
    const unsigned char* const message = mInput.data() + mTaken;
    const std::size_t available = mFilled - mTaken;
    std::size_t length = 0;
    if (!CIpcMessage::MeasureMessage(message, available, length))
    {
        error = DescribeStart(message, length);
        return nullptr;
    }
    if (length == 0 || available < length)
        return nullptr;
    if (!CIpcMessage::IsWellFormed(message, length))
    {
        error = "arguments do not end with the " + std::to_string(length) + " bytes of their message";
        return nullptr;
    }
    mTaken += length;
    return message;
}

bool CIpcConnection::Flush()
{
    while (mSent < mOutput.size())
    {
        const ssize_t count = NPosix::RetryOnInterrupt(
            [&]
            {
                return ::send(mSocket.Get(), mOutput.data() + mSent, mOutput.size() - mSent,
                              MSG_DONTWAIT | MSG_NOSIGNAL);
            });
        if (count < 0)
        {
            if (!WouldBlock(errno))
                return false;
            // Of what stays, only a part as large as itself is worth moving.
            if (mSent > mOutput.size() / 2)
            {
                mOutput.erase(mOutput.begin(), mOutput.begin() + static_cast<std::ptrdiff_t>(mSent));
                mSent = 0;
            }
            return true;
        }
        mSent += static_cast<std::size_t>(count);
    }
    if (mOutput.capacity() > kKeptOutput)
        mOutput = {};
    mOutput.clear();
    mSent = 0;
    return true;
}
