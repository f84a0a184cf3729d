// The control process's side of the notification sockets.
#pragma once

#include "software/bp/serial/CNotificationQueue.h"
#include "software/utility/CDescriptor.h"

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

    CIpcNotifier(CSelectWrapper& select, CNotificationManager& registrations, ILog& log);
    CIpcNotifier(const CIpcNotifier&) = delete;
    CIpcNotifier& operator=(const CIpcNotifier&) = delete;
    ~CIpcNotifier(); ///< ends the registrations of every recipient it knows

    std::string AddLocal(LocalHandler handler); ///< @returns the address of the new recipient
    void RemoveLocal(const std::string& address);
    bool IsLocal(const std::string& address) const { return mLocals.count(address) != 0; }

    /// Connects to a recipient unless that is done. A socket too busy to be connected to counts as connected.
    /// @returns 0, or the system error
    int Connect(const std::string& address);
    /// Closes the connection of an address without registrations.
    void Release(const std::string& address);

    void Send(CIpcMessage& notification, const std::list<std::string>& addresses);

    void OnReady(std::uint64_t tag, bool readable, bool writable);
    void RetryBusy(); ///< tries again to connect to sockets that were too busy

private:
    struct SRecipient
    {
        CDescriptor mSocket; // not open: the recipient was too busy
        std::uint64_t mTag = 0;
        CNotificationQueue mQueue;
    };
    using RecipientMap = std::map<std::string, SRecipient>; // by address

    int Open(const std::string& address, SRecipient& recipient);
    void SendTo(const std::string& address, const std::string& key, const CNotificationQueue::Bytes& bytes,
                const CIpcMessage& notification);
    void CallLocal(const std::string& address, const CIpcMessage& notification);
    int Flush(SRecipient& recipient);
    void Lose(const std::string& address, int systemError);
    void Forget(RecipientMap::iterator recipient);

    CSelectWrapper& mSelect;
    CNotificationManager& mRegistrations;
    ILog& mLog;
    std::unordered_map<std::string, LocalHandler> mLocals; // by address
    RecipientMap mRecipients;
    std::unordered_map<std::uint64_t, std::string> mAddresses; // by tag
    std::uint64_t mNextTag = kFirstTag;
    unsigned mNextLocal = 1;
    std::size_t mBusy = 0; // recipients without an open socket
};
