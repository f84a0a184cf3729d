// A client's link to the control process.
#pragma once

#include "software/bp/serial/CRetryingLink.h"
#include "software/bp/serial/IIpcClient.h"
#include "software/bp/serial/NIpcSocket.h"
#include "software/bp/status/SStatus.h"
#include "software/include/EError.h"

#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

class CIpcMessage;
class ILog;

/// One control in a list of registrations.
struct SControlSet
{
    std::string mCode;     ///< "PWR" or "KST+TLPX"
    bool mSendNow = false; ///< registering: its state is sent at once
};

/// What a client of the control process needs: the messages of `CRetryingLink`, typed operations built on
/// them, and notifications.
class CEventLink : public CRetryingLink
{
public:
    static constexpr unsigned kDefaultTimeoutMs = 2000; ///< of the typed operations

    /// A link over sockets. The connection is made with the first message.
    /// @param uniqueName    tells the clients of one process apart; cut to 38 bytes, every "/" becomes "_"
    /// @param runDirectory  where the sockets of the control process and its clients are
    /// @throws CException   "Invalid socket name - a unique name must be specified"; "Socket name %s is too
    ///                      long: %zu bytes, the system allows %zu"
    CEventLink(ILog& log, const char* uniqueName,
               const std::string& runDirectory = NIpcSocket::kRunDirectory);
    /// A link over any client, for example one inside the control process.
    CEventLink(ILog& log, std::unique_ptr<IIpcClient> client);
    CEventLink(const CEventLink&) = delete;
    CEventLink& operator=(const CEventLink&) = delete;
    ~CEventLink() override; ///< ends its registrations

    // Typed operations. A code that is none, or that no message can carry, is error 101.

    /// The text of a text control, of the chosen entry of a list, or the number of any other as text.
    EError GetText(int accessGroup, const std::string& code, std::string& text);
    EError SetText(int accessGroup, const std::string& code,
                   const std::string& text);                               ///< 104: not NUL-free UTF-8
    EError GetValue(int accessGroup, const std::string& code, int& value); ///< 103: it is a text
    EError SetValue(int accessGroup, const std::string& code, int value);

    // Status. An unknown group or item, and a process without a status database, are error 9 and 101; each
    // list is replaced, also on a failure.

    EError GetStatus(int accessGroup, std::vector<SStatusGroup>& groups); ///< with the worst status of each
    EError GetStatus(int accessGroup, const std::string& group, int index, SStatus& item);
    EError GetStatusGroup(int accessGroup, const std::string& group,
                          std::vector<SStatus>& items);                    ///< in display order
    EError GetGlobalAlerts(int accessGroup, std::vector<SStatus>& alarms); ///< active, the worst first

    /// Registrations are counted: each takes an unregistration of its own. One message is all or nothing; a
    /// list of more than 100 codes is sent as several, and ends at the first that is refused. A protected
    /// control is left out for a caller without the level.
    EError NotifyRegister(int accessGroup, const std::string& code, bool sendNow = false);
    EError NotifyRegister(int accessGroup, const std::list<SControlSet>& controls);
    EError NotifyUnregister(int accessGroup, const std::string& code);
    EError NotifyUnregister(int accessGroup, const std::list<SControlSet>& controls);
    EError NotifyUnregisterAll(const std::string& address); ///< every registration of a notification address
    /// Makes all registrations of this link again, with the present state of each as the first notification:
    /// for after `IsNotifyLost`. It can be tried again until it succeeds.
    EError NotifyRenew();
    /// Appends the notifications that have arrived, without waiting.
    void ProcessNotify(std::list<CIpcMessage>& notifications);
    /// Takes notifications instead of `ProcessNotify`'s list: on a link inside the control process at the
    /// change itself, also while a call of this link is under way, and it may use the link; on a link over
    /// sockets from within `ProcessNotify`.
    void SetNotifyHandler(IIpcClient::NotifyHandler handler);
    /// Readable when `ProcessNotify` has something to collect. Opens the notification socket if need be; -1
    /// when it can not be opened, and inside the control process.
    int GetNotifyDescriptor();
    const std::string& GetNotifySocketName() const noexcept; ///< the address that is registered
    /// Whether the control process had connected to notify this link and is gone, its registrations with it.
    /// Up to date after `ProcessNotify`.
    bool IsNotifyLost() const noexcept;

    void SetTimeout(unsigned timeoutMs) noexcept { mTimeoutMs = timeoutMs; } ///< of the typed operations

private:
    EError Request(int accessGroup, const std::string& code, CIpcMessage& reply);
    EError RequestStatus(int accessGroup, CIpcMessage&& request, std::vector<SStatus>& items);
    EError SendRegistrations(int accessGroup, const std::list<SControlSet>& controls, bool registers);
    bool OpenNotify();

    struct SRegistered
    {
        int mAccessGroup;
        unsigned mCount;
    };
    using Registrations = std::map<std::string, SRegistered>; // by code

    void Remember(int accessGroup, const std::string& code, bool registers);

    Registrations mRegistrations; // as the control process has them, unless it was lost
    bool mRegistered = false;     // asked for notifications at some time
    bool mNotifyFails = false;    // the notification socket can not be made, and that was said
    unsigned mTimeoutMs = kDefaultTimeoutMs;
};
