// Replies are joined; only an empty buffer is overtaken.
#include "software/bp/c4j/CJsonRpcOutput.h"

#include "software/bp/c4j/NJsonRpcBuffer.h"
#include "software/bp/c4j/SJsonRpcClient.h"
#include "software/include/ILog.h"
#include "software/jsonrpc/NJsonText.h"
#include "software/utility/CSelectWrapper.h"
#include "software/utility/NPosix.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace
{
constexpr std::size_t kFlushBytes = std::size_t{16} << 10; // replies are joined up to here

ssize_t SendSome(int socket, const char* bytes, std::size_t size)
{
    return NPosix::RetryOnInterrupt([=] { return ::send(socket, bytes, size, MSG_DONTWAIT | MSG_NOSIGNAL); });
}
} // namespace

bool CJsonRpcOutput::AppendReply(SJsonRpcClient& client, const Json::Value& response)
{
    if (client.mSendError != 0)
    {
        LogReplyFailure(client, client.mSendError);
        return true;
    }
    NJsonText::Append(response, client.mOutput);
    client.mOutput += '\0';
    // A socket that took too little says itself when it takes more; before the end it is asked once more.
    const std::size_t flushAt = client.mWatchesWrite ? kMaxWaiting + 1 : kFlushBytes;
    if (client.GetUnsent() >= flushAt)
        Flush(client);
    if (client.GetUnsent() <= kMaxWaiting)
        return true;
    LogReplyFailure(client, EAGAIN);
    Drop(client);
    return false;
}

CJsonRpcOutput::ESend CJsonRpcOutput::Send(SJsonRpcClient& client, const std::string& text)
{
    if (client.GetUnsent() > 0) // its earlier replies go first
        Flush(client);
    if (client.mDoomed || client.mSendError != 0)
    {
        errno = client.mDoomed ? EPIPE : client.mSendError;
        return ESend::Failed;
    }
    if (client.GetUnsent() > 0)
    {
        errno = EAGAIN;
        return ESend::Blocked;
    }
    const std::size_t size = text.size() + 1; // a std::string has a NUL behind its end
    std::size_t sent = 0;
    while (sent < size)
    {
        const ssize_t step = SendSome(client.mSocket.Get(), text.c_str() + sent, size - sent);
        if (step >= 0)
        {
            sent += static_cast<std::size_t>(step);
            continue;
        }
        if (sent == 0)
            return errno == EAGAIN ? ESend::Blocked : ESend::Failed;
        client.mOutput.append(text.c_str() + sent, size - sent);
        if (errno != EAGAIN)
        {
            const int error = errno;
            Fail(client, error);
            errno = error;
            return ESend::Failed;
        }
        Watch(client, client.mWatchesRead, true);
        break;
    }
    return ESend::Sent;
}

void CJsonRpcOutput::Flush(SJsonRpcClient& client)
{
    while (client.GetUnsent() > 0)
    {
        const ssize_t step =
            SendSome(client.mSocket.Get(), client.mOutput.data() + client.mOutputSent, client.GetUnsent());
        if (step < 0 && errno != EAGAIN)
            return Fail(client, errno);
        if (step < 0)
        {
            if (client.mOutputSent > client.GetUnsent()) // moves each byte at most once
            {
                client.mOutput.erase(0, client.mOutputSent);
                client.mOutputSent = 0;
            }
            return Watch(client, client.mWatchesRead, true);
        }
        client.mOutputSent += static_cast<std::size_t>(step);
    }
    Drop(client);
}

void CJsonRpcOutput::Watch(SJsonRpcClient& client, bool read, bool write)
{
    if (client.mWatchesRead == read && client.mWatchesWrite == write)
        return;
    mSelect.Watch(client.mSocket.Get(), client.GetTag(), read, write);
    client.mWatchesRead = read;
    client.mWatchesWrite = write;
}

// A message may have been cut, so that nothing can follow; the next read sees the end and purges.
void CJsonRpcOutput::Fail(SJsonRpcClient& client, int error)
{
    LogReplyFailure(client, error);
    client.mSendError = error;
    Drop(client);
    (void)::shutdown(client.mSocket.Get(), SHUT_RDWR);
}

void CJsonRpcOutput::Drop(SJsonRpcClient& client)
{
    NJsonRpcBuffer::Empty(client.mOutput);
    client.mOutputSent = 0;
    Watch(client, client.mWatchesRead, false);
}

void CJsonRpcOutput::LogReplyFailure(const SJsonRpcClient& client, int error) const
{
    if (mLog.IsEnabled(ELogLevel::Debug))
        mLog.LogDebug("Unable to reply to client %s [ID:%d] %s (%d)", client.mName.c_str(),
                      static_cast<int>(client.mId), std::strerror(error), error);
}
