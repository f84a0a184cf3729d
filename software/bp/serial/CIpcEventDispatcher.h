// The server of the local IPC, inside the process that owns the controls.
#pragma once

#include "software/bp/serial/CIpcConnection.h"
#include "software/bp/serial/CIpcListener.h"
#include "software/bp/serial/CIpcNotifier.h"
#include "software/bp/serial/IIpcServer.h"
#include "software/include/EAccessLevel.h"
#include "software/include/EError.h"
#include "software/utility/CIpcMessage.h"
#include "software/utility/CSelectWrapper.h"

#include <cstdint>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <vector>

class CEventDispatcher;
class CProjCon;
class ILog;

/// What became of a registration message.
struct SIpcRegistration
{
    EError mError = eErrorNone;
    std::string mText; ///< of a refusal; starts with "Notification System Error: "
};

/// Applies commands, answers requests, keeps registrations and sends notifications, for other processes over
/// Unix sockets and for `CIpcLocalClient` by call. It attaches itself to the dispatcher and takes itself off.
/// Nothing here waits for a client: one that does not read its replies is dropped, one that does not read its
/// notifications gets the latest of each kind when it goes on. Used from the loop's thread only.
class CIpcEventDispatcher : public IIpcServer
{
public:
    /// Opens the socket. Its folder is the run directory: created if missing (0750), it holds the lock file
    /// SOCKET-NAME.lock and the sockets of the clients. A socket left by a crash is replaced.
    /// @param dispatcher   not owned, must outlive the server
    /// @param socketName   as `NIpcSocket::MakeServerName` makes it
    /// @throws CException  "Socket %s is served by another process already", "%s exists and is no socket",
    ///                     "Socket name %s is too long: ..." and those of the system calls
    CIpcEventDispatcher(CEventDispatcher& dispatcher, const std::string& socketName, ILog& log);
    CIpcEventDispatcher(const CIpcEventDispatcher&) = delete;
    CIpcEventDispatcher& operator=(const CIpcEventDispatcher&) = delete;
    ~CIpcEventDispatcher() override; ///< ends every registration that was made over it

    void ProcessEvents() override;
    void MakeNotification(const CProjCon& control, ENotifyType type,
                          std::list<std::string> recipients) override;

    /// Readable when `ProcessEvents` has something to do: the host adds it to its wait once. Besides, it
    /// calls `ProcessEvents` several times a second, for what is tried again later.
    int GetDescriptor() const noexcept { return mSelect.GetDescriptor(); }

    /// Handles any message: a command, a request or a registration (code "NOT").
    /// @param message  loses its argument 231
    /// @param replies  replaced: what is to be sent back, in order, with flag 0x4 on all but the last; empty
    ///                 when the message wants no reply
    void HandleMessage(CIpcMessage& message, std::list<CIpcMessage>& replies);

    /// Applies a command; the reply is replaced.
    void ProcessCommands(CIpcMessage& command, CIpcMessage& reply);
    /// Answers a request; `replies` is replaced and has at least one, with flag 0x4 on all but the last.
    void ProcessRequests(CIpcMessage& request, std::list<CIpcMessage>& replies);
    /// Registers or unregisters argument 0, a notification address, on the codes in the arguments behind it:
    /// on all of them, or on none when one is refused. Protected controls are left out for a caller without
    /// the level. Refusals: 5 "Needs at least 2 arguments (%d)", 3 "Invalid (non-text) argument %s",
    /// 3 "Invalid address %s", 9 "Unsupported modifier", 101 "%s NOT FOUND!", 111 "Unable to send ...".
    SIpcRegistration ProcessNotificationRequests(const CIpcMessage& message);

    /// Sends a notification to each address; one that can not be reached loses its registrations.
    void SendIpcNotifications(CIpcMessage& notification, const std::list<std::string>& recipients);
    void SendNotify(CIpcMessage& notification, const std::string& address);

    /// For `CIpcLocalClient`: a recipient that is called. @returns its address, like "LOCAL.1"
    std::string AddLocalRecipient(CIpcNotifier::LocalHandler handler);
    void RemoveLocalRecipient(const std::string& address); ///< ends its registrations

private:
    using CallerLevel = std::optional<EAccessLevel>; // none: the controller itself

    struct SRegistration
    {
        std::string mCode;
        unsigned char mModifier;
    };

    static CallerLevel GetCallerLevel(const CIpcMessage& message);
    static bool MayUse(const CProjCon& control, CallerLevel caller) noexcept;
    CProjCon* FindControl(const std::string& code, CallerLevel caller, CIpcMessage& reply);

    void Answer(CIpcMessage& message, std::list<CIpcMessage>& replies);
    void AnswerWanted(CIpcMessage& message, std::list<CIpcMessage>& replies);
    static void Encode(const CIpcMessage& message, std::list<CIpcMessage>& replies,
                       std::vector<unsigned char>& bytes);

    SIpcRegistration CheckAddress(const CIpcMessage& message, std::string& address) const;
    SIpcRegistration ReadRegistrations(const CIpcMessage& message, std::list<SRegistration>& registrations);
    SIpcRegistration CheckRegistration(SRegistration& registration) const;
    void Register(const std::string& address, const std::list<SRegistration>& registrations);
    void SendState(const std::string& code, const std::string& address);

    void Accept();
    bool AnswerLone();
    void Dispatch(const CSelectWrapper::SReady& ready);
    void Serve(std::uint64_t tag, bool readable);
    bool ReadMessages(std::uint64_t tag, CIpcConnection& connection);
    bool AnswerMessages(std::uint64_t tag, CIpcConnection& connection);
    void WatchOutput(std::uint64_t tag, CIpcConnection& connection);
    void Drop(std::uint64_t tag) noexcept;

    CEventDispatcher& mDispatcher;
    ILog& mLog;
    CSelectWrapper mSelect;
    CIpcListener mListener;
    CIpcNotifier mNotifier;
    std::map<std::uint64_t, CIpcConnection> mConnections; // by tag
    std::uint64_t mNextTag;
    std::uint64_t mLoneTag;                     // of the client whose single message was all of the last pass
    unsigned mLoneTurns = 0;                    // passes in a row that looked at that client alone
    unsigned mAnswered = 0;                     // messages in this pass
    std::vector<CSelectWrapper::SReady> mReady; // of this pass: the wrapper's own list may move meanwhile
    CIpcMessage mMessage;                       // the one from a socket that is being handled
    bool mProcessing = false;
};
