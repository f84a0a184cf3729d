// The control process's side of the notification sockets.
#pragma once

#include "software/bp/serial/CNotificationQueue.h"
#include "software/utility/CDescriptor.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <string>
#include <unordered_map>

class CIpcMessage;
class CNotificationManager;
class CSelectWrapper;
class ILog;

/// Sends notifications to whoever registered: over a connection to the recipient's socket, which is kept from
/// the first registration on, or by calling a recipient inside this process. It never waits: what a full
/// socket does not take is queued, the latest per control and kind of change. A recipient that has gone loses
/// its registrations. Used from the loop's thread; a recipient that is called may change controls, register
/// and unregister.
class CIpcNotifier
{
public:
    using LocalHandler = std::function<void(const CIpcMessage& notification)>;

    /// Its descriptors are watched under tags from here on.
    static constexpr std::uint64_t kFirstTag = std::uint64_t{1} << 63;

    /// All three are not owned and must outlive it.
    CIpcNotifier(CSelectWrapper& select, CNotificationManager& registrations, ILog& log);
    CIpcNotifier(const CIpcNotifier&) = delete;
    CIpcNotifier& operator=(const CIpcNotifier&) = delete;
    ~CIpcNotifier(); ///< ends the registrations of every recipient it knows

    std::string AddLocal(LocalHandler handler); ///< @returns the address of the new recipient
    void RemoveLocal(const std::string& address);
    bool IsLocal(const std::string& address) const { return mLocals.count(address) != 0; }

    /// Connects to a recipient unless that is done. One that is too busy to be connected to now is tried
    /// again.
    /// @returns 0, or the system error of one that can not be reached
    int Connect(const std::string& address);
    /// Closes the connection of an address that has no registrations any more.
    void Release(const std::string& address);

    void Send(CIpcMessage& notification, const std::list<std::string>& addresses);

    void OnReady(std::uint64_t tag, bool readable, bool writable);
    void RetryBusy(); ///< from time to time tries again to connect to those that were too busy

private:
    struct SRecipient
    {
        CDescriptor mSocket; // not open: the recipient was too busy
        std::uint64_t mTag = 0;
        CNotificationQueue mQueue;
    };
    using RecipientMap = std::map<std::string, SRecipient>; // by address

    // One notification on its way to several recipients; what only a queue needs is made for the first queue.
    struct SOutgoing
    {
        const CIpcMessage& mMessage;
        const unsigned char* mBytes;
        std::size_t mSize;
        std::string mKey;
        CNotificationQueue::Bytes mShared;
    };

    int Find(const std::string& address, RecipientMap::iterator& recipient);
    int Open(RecipientMap::iterator recipient);
    void Close(SRecipient& recipient) noexcept;
    void SendTo(const std::string& address, SOutgoing& outgoing);
    void CallLocal(const std::string& address, LocalHandler handler, const CIpcMessage& notification);
    static void Queue(SRecipient& recipient, SOutgoing& outgoing);
    int Flush(SRecipient& recipient);
    void Lose(RecipientMap::iterator recipient, int systemError);
    void Unregister(const std::string& address, int systemError);

    CSelectWrapper& mSelect;
    CNotificationManager& mRegistrations;
    ILog& mLog;
    std::unordered_map<std::string, LocalHandler> mLocals; // by address
    RecipientMap mRecipients;
    std::unordered_map<std::uint64_t, RecipientMap::iterator> mByTag;
    std::uint64_t mNextTag = kFirstTag;
    unsigned mNextLocal = 1;
    std::size_t mBusy = 0; // recipients without an open socket
    std::chrono::steady_clock::time_point mNextTry;
};
