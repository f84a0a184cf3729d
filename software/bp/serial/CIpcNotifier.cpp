// One connection a recipient; a full socket turns into a queue, a dead one ends its registrations.
#include "software/bp/serial/CIpcNotifier.h"

#include "software/bp/serial/CNotificationManager.h"
#include "software/bp/serial/NIpcSocket.h"
#include "software/include/ILog.h"
#include "software/utility/CException.h"
#include "software/utility/CIpcMessage.h"
#include "software/utility/CSelectWrapper.h"
#include "software/utility/NPosix.h"

#include <cerrno>
#include <cstring>
#include <exception>
#include <tuple>
#include <utility>
#include <vector>

#include <sys/socket.h>

namespace
{
constexpr char kLocalPrefix[] = "LOCAL."; // without a slash, so it is never the name of a recipient's socket
constexpr std::chrono::milliseconds kRetryInterval{100};

// What passes by itself: nothing is wrong with the recipient.
bool IsPassing(int systemError) noexcept
{
    switch (systemError)
    {
    case EAGAIN:
    case EMFILE:
    case ENFILE:
    case ENOBUFS:
    case ENOMEM: return true;
    default: return false;
    }
}

int SendPacket(int socket, const unsigned char* bytes, std::size_t size)
{
    const auto send = [&] { return ::send(socket, bytes, size, MSG_DONTWAIT | MSG_NOSIGNAL); };
    return NPosix::RetryOnInterrupt(send) < 0 ? errno : 0;
}

// Recipients have nothing to say: whatever can be read is the end, or an error to be fetched.
// @returns whether the connection stands; systemError is 0 when the recipient closed it
bool IsAlive(int socket, int& systemError)
{
    char byte = 0;
    const ssize_t count =
        NPosix::RetryOnInterrupt([&] { return ::recv(socket, &byte, sizeof byte, MSG_DONTWAIT); });
    systemError = count < 0 ? errno : 0;
    return count < 0 && systemError == EAGAIN;
}
} // namespace

CIpcNotifier::CIpcNotifier(CSelectWrapper& select, CNotificationManager& registrations, ILog& log)
    : mSelect(select)
    , mRegistrations(registrations)
    , mLog(log)
{
}

CIpcNotifier::~CIpcNotifier()
{
    for (auto& [address, recipient] : mRecipients)
    {
        mRegistrations.NotifyUnregisterAll(address);
        Close(recipient);
    }
    for (const auto& local : mLocals)
        mRegistrations.NotifyUnregisterAll(local.first);
}

std::string CIpcNotifier::AddLocal(LocalHandler handler)
{
    std::string address = kLocalPrefix + std::to_string(mNextLocal++);
    mLocals.emplace(address, std::move(handler));
    return address;
}

void CIpcNotifier::RemoveLocal(const std::string& address)
{
    if (mLocals.erase(address) != 0)
        mRegistrations.NotifyUnregisterAll(address);
}

int CIpcNotifier::Connect(const std::string& address)
{
    if (IsLocal(address))
        return 0;
    RecipientMap::iterator recipient;
    return Find(address, recipient);
}

// The recipient of an address, connected to if it is new. A connection that has ended without having been
// noticed yet is made anew: its recipient may have opened its socket again.
int CIpcNotifier::Find(const std::string& address, RecipientMap::iterator& recipient)
{
    if (!NIpcSocket::Fits(address))
        return ENAMETOOLONG;
    bool isNew = false;
    std::tie(recipient, isNew) = mRecipients.try_emplace(address);
    int error = 0;
    if (isNew)
        ++mBusy;
    else if (!recipient->second.mSocket.IsOpen() || IsAlive(recipient->second.mSocket.Get(), error))
        return 0;
    else
        Close(recipient->second);
    error = Open(recipient);
    if (error == 0)
        return 0;
    if (IsPassing(error))
    {
        mLog.LogWarning("Notification socket %s can not be connected to now (%s); tried again",
                        address.c_str(), std::strerror(error));
        return 0;
    }
    Close(recipient->second);
    --mBusy;
    mRecipients.erase(recipient);
    return error;
}

int CIpcNotifier::Open(RecipientMap::iterator recipient)
{
    CDescriptor socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!socket.IsOpen())
        return errno;
    const int error = NIpcSocket::Connect(socket, recipient->first);
    if (error != 0)
        return error;
    SRecipient& opened = recipient->second;
    try
    {
        mSelect.Add(socket.Get(), mNextTag);
    }
    catch (const CException& e)
    {
        return e.GetSystemError();
    }
    opened.mSocket = std::move(socket);
    opened.mTag = mNextTag++;
    mByTag.emplace(opened.mTag, recipient);
    --mBusy;
    return 0;
}

void CIpcNotifier::Close(SRecipient& recipient) noexcept
{
    if (!recipient.mSocket.IsOpen())
        return;
    mSelect.Remove(recipient.mSocket.Get());
    mByTag.erase(recipient.mTag);
    recipient.mSocket.Reset();
    ++mBusy;
}

void CIpcNotifier::Release(const std::string& address)
{
    const auto recipient = mRecipients.find(address);
    if (recipient == mRecipients.end() || !mRegistrations.GetSubscriptions(address).empty())
        return;
    Close(recipient->second);
    --mBusy;
    mRecipients.erase(recipient);
}

void CIpcNotifier::Send(CIpcMessage& notification, const std::list<std::string>& addresses)
{
    unsigned char* bytes = nullptr;
    const unsigned size = notification.SerializeMessage(bytes); // once: the bytes are the same for everybody
    if (size > CIpcMessage::kMaxSize)
    {
        mLog.LogWarning("%s: a notification of %u bytes is too large; not sent",
                        notification.GetCode().c_str(), size);
        return;
    }
    SOutgoing outgoing{notification, bytes, size, {}, {}};
    for (const std::string& address : addresses)
        SendTo(address, outgoing);
}

// Looks the recipient up at the moment itself: one that was called before may have removed it.
void CIpcNotifier::SendTo(const std::string& address, SOutgoing& outgoing)
{
    if (const auto local = mLocals.find(address); local != mLocals.end())
        return CallLocal(address, local->second, outgoing.mMessage);

    auto recipient = mRecipients.find(address);
    if (recipient == mRecipients.end())
    {
        const int error = Find(address, recipient);
        if (error != 0)
            return Unregister(address, error);
    }
    SRecipient& open = recipient->second;
    if (!open.mSocket.IsOpen() || !open.mQueue.IsEmpty())
        return Queue(open, outgoing);
    const int error = SendPacket(open.mSocket.Get(), outgoing.mBytes, outgoing.mSize);
    if (error == 0)
        return;
    if (!IsPassing(error))
        return Lose(recipient, error);
    Queue(open, outgoing);
    mSelect.Watch(open.mSocket.Get(), open.mTag, true, true);
}

// By copy: the handler may remove its recipient, and itself with it.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void CIpcNotifier::CallLocal(const std::string& address, LocalHandler handler,
                             const CIpcMessage& notification)
{
    try
    {
        handler(notification);
    }
    catch (const std::exception& e)
    {
        mLog.LogError("Unable to send notification to %s. %s", address.c_str(), e.what());
    }
}

void CIpcNotifier::Queue(SRecipient& recipient, SOutgoing& outgoing)
{
    if (outgoing.mShared == nullptr)
    {
        outgoing.mShared =
            std::make_shared<std::vector<unsigned char>>(outgoing.mBytes, outgoing.mBytes + outgoing.mSize);
        outgoing.mKey = CNotificationQueue::MakeKey(outgoing.mMessage);
    }
    recipient.mQueue.Put(outgoing.mKey, outgoing.mShared);
}

void CIpcNotifier::OnReady(std::uint64_t tag, bool readable, bool writable)
{
    const auto found = mByTag.find(tag);
    if (found == mByTag.end())
        return; // closed earlier in this pass
    try
    {
        const RecipientMap::iterator recipient = found->second;
        int error = 0;
        if (readable && !IsAlive(recipient->second.mSocket.Get(), error))
            return Lose(recipient, error);
        error = writable ? Flush(recipient->second) : 0;
        if (error != 0)
            Lose(recipient, error);
    }
    catch (const std::exception& e)
    {
        mLog.LogError("IPC: %s", e.what());
    }
}

// Sends what is queued, as far as the socket takes it. @returns 0, or the error that ends the connection
int CIpcNotifier::Flush(SRecipient& recipient)
{
    while (!recipient.mQueue.IsEmpty())
    {
        const std::vector<unsigned char>& bytes = *recipient.mQueue.GetFront();
        const int error = SendPacket(recipient.mSocket.Get(), bytes.data(), bytes.size());
        if (error != 0 && !IsPassing(error))
            return error;
        if (error != 0)
            break;
        recipient.mQueue.PopFront();
    }
    mSelect.Watch(recipient.mSocket.Get(), recipient.mTag, true, !recipient.mQueue.IsEmpty());
    return 0;
}

void CIpcNotifier::RetryBusy()
{
    if (mBusy == 0 || std::chrono::steady_clock::now() < mNextTry)
        return;
    mNextTry = std::chrono::steady_clock::now() + kRetryInterval;
    for (auto next = mRecipients.begin(); next != mRecipients.end();)
    {
        const auto recipient = next++;
        if (recipient->second.mSocket.IsOpen())
            continue;
        int error = Open(recipient);
        if (error == 0)
            error = Flush(recipient->second);
        if (error != 0 && !IsPassing(error))
            Lose(recipient, error);
    }
}

void CIpcNotifier::Lose(RecipientMap::iterator recipient, int systemError)
{
    const std::string address = recipient->first;
    Close(recipient->second);
    --mBusy;
    mRecipients.erase(recipient);
    Unregister(address, systemError);
}

void CIpcNotifier::Unregister(const std::string& address, int systemError)
{
    const std::string codes = mRegistrations.NotifyUnregisterAll(address);
    if (systemError == 0)
        mLog.LogWarning("Unable to send notification to %s", address.c_str());
    else
        mLog.LogWarning("Unable to send notification to %s. %s", address.c_str(), std::strerror(systemError));
    mLog.LogDebug("%s is not registered any more on: %s", address.c_str(), codes.c_str());
}
