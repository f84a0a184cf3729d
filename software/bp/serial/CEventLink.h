// A client's link to the control process.
#pragma once

#include "software/bp/serial/IIpcClient.h"
#include "software/bp/serial/NIpcSocket.h"
#include "software/include/EError.h"

#include <functional>
#include <list>
#include <memory>
#include <string>

class CIpcMessage;
class ILog;

/// One control in a list of registrations.
struct SControlSet
{
    std::string mCode;     ///< "PWR" or "KST+TLPX"
    bool mSendNow = false; ///< registering: its state is sent at once
};

enum ERetryMode : unsigned
{
    eRetryNone = 0,
    eRetryFixed = 1,    ///< without end, after the same interval every time
    eRetryDoubling = 2, ///< three times: the interval is doubled before each sleep, until it is above 7 s
};

/// Sends commands and requests to the process that owns the controls, and receives notifications. A call
/// blocks its thread for its time-out and for the sleeps between retries; nothing is thrown, every failure is
/// an `EError`. One thread uses a link.
///
/// @param accessGroup  everywhere: the level of whoever is asking, `kNoAccessGroup` for the controller itself
class CEventLink
{
public:
    static constexpr int kNoAccessGroup = -1;
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
    virtual ~CEventLink(); ///< ends its registrations

    /// Called before the first message, and before each further one until it has called `SetInitialized`.
    /// A derived link that can not get ready leaves it out: the message then fails with error 111.
    virtual void InitializeLink();

    /// Sends a command and waits for its reply.
    /// @param command    its argument 231 and its flags for "request" and "reply wanted" are the link's
    /// @param reply      the last reply; on a failure that the control process answered, its error message
    /// @param timeoutMs  longest wait for each reply; 0 sends one-way, without waiting
    /// @returns 0, the error of the reply, 110 when the time ran out, 111 when there is no way there; without
    ///          sending 4 or 107 when the message has too many arguments or is too large
    EError SendCommand(int accessGroup, CIpcMessage& command, CIpcMessage& reply, unsigned timeoutMs);
    /// The same for a request, whose replies may be many; an error message is among them.
    EError SendRequest(int accessGroup, CIpcMessage& request, std::list<CIpcMessage>& replies,
                       unsigned timeoutMs);

    // Typed operations. A code that is none, or that no message can carry, is error 101.

    /// The text of a text control, of the chosen entry of a list, or the number of any other as text.
    EError GetText(int accessGroup, const std::string& code, std::string& text);
    EError SetText(int accessGroup, const std::string& code,
                   const std::string& text);                               ///< 104: not NUL-free UTF-8
    EError GetValue(int accessGroup, const std::string& code, int& value); ///< 103: it is a text
    EError SetValue(int accessGroup, const std::string& code, int value);

    /// Registrations are counted: each takes an unregistration of its own. One message is all or nothing; a
    /// list of more than 100 codes is sent as several, and ends at the first that is refused. A protected
    /// control is left out for a caller without the level.
    EError NotifyRegister(int accessGroup, const std::string& code, bool sendNow = false);
    EError NotifyRegister(int accessGroup, const std::list<SControlSet>& controls);
    EError NotifyUnregister(int accessGroup, const std::string& code);
    EError NotifyUnregister(int accessGroup, const std::list<SControlSet>& controls);
    EError NotifyUnregisterAll(const std::string& address); ///< every registration of a notification address
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
    /// Whether the control process had connected to notify this link and is gone: the registrations have to
    /// be made again. Up to date after `ProcessNotify`.
    bool IsNotifyLost() const noexcept;

    void SetTimeout(unsigned timeoutMs) noexcept { mTimeoutMs = timeoutMs; } ///< of the typed operations
    /// @param initialSeconds  the interval that a call starts with
    void SetRetryMode(ERetryMode mode, unsigned initialSeconds = kInitialRetrySeconds) noexcept;
    void SetSleep(std::function<void(unsigned seconds)> sleep); ///< replaces the sleep between retries

protected:
    void SetInitialized(bool initialized = true) noexcept { mInitialized = initialized; }

private:
    static constexpr unsigned kInitialRetrySeconds = 1;

    EError Transact(const char* function, int accessGroup, CIpcMessage& message, unsigned timeoutMs,
                    std::list<CIpcMessage>* replies, CIpcMessage& last);
    EError Attempt(const char* function, CIpcMessage& message, unsigned timeoutMs,
                   std::list<CIpcMessage>* replies, CIpcMessage& last);
    EError Exchange(CIpcMessage& message, unsigned timeoutMs, std::list<CIpcMessage>* replies,
                    CIpcMessage& last);
    static EError AddAccessGroup(CIpcMessage& message, int accessGroup);
    bool CheckForRetryAndSleep(const char* function, EError error, const CIpcMessage& message,
                               unsigned& seconds);
    EError Request(int accessGroup, const std::string& code, CIpcMessage& reply);
    EError SendRegistrations(int accessGroup, const std::list<SControlSet>& controls, bool registers);
    bool OpenNotify();

    ILog& mLog;
    std::unique_ptr<IIpcClient> mClient; // with the notification server behind it
    ERetryMode mRetryMode = eRetryNone;
    unsigned mInitialRetrySeconds = kInitialRetrySeconds;
    bool mInitialized = false;
    bool mRegistered = false; // asked for notifications at some time
    unsigned mTimeoutMs = kDefaultTimeoutMs;
    std::function<void(unsigned)> mSleep;
};
