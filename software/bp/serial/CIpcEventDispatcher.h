// The server of the local IPC, inside the process that owns the controls.
#pragma once

#include "software/bp/serial/CIpcClients.h"
#include "software/bp/serial/CIpcNotifier.h"
#include "software/bp/serial/CIpcRegistrar.h"
#include "software/bp/serial/IIpcServer.h"
#include "software/utility/CIpcMessage.h"
#include "software/utility/CSelectWrapper.h"

#include <list>
#include <string>
#include <vector>

class CEventDispatcher;
class CIpcCaller;
class CProjCon;
class CStatusDb;
class ILog;

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

    /// The database that requests with the code "SST" are answered from, see `NStatusMessages`; null, as at
    /// first: there is no such code. Not owned.
    void SetStatusDb(const CStatusDb* status) noexcept { mStatus = status; }

    /// Handles any message: a command, a request or a registration (code "NOT").
    /// @param message  loses its argument 231
    /// @param replies  replaced: what is to be sent back, in order, with flag 0x4 on all but the last; empty
    ///                 when the message wants no reply
    void HandleMessage(CIpcMessage& message, std::list<CIpcMessage>& replies);

    /// Applies a command; the reply is replaced.
    void ProcessCommands(CIpcMessage& command, CIpcMessage& reply);
    /// Answers a request; `replies` is replaced and has at least one, with flag 0x4 on all but the last.
    void ProcessRequests(CIpcMessage& request, std::list<CIpcMessage>& replies);
    /// Carries out a registration message, see `CIpcRegistrar::Process`.
    SIpcRegistration ProcessNotificationRequests(const CIpcMessage& message);

    /// Sends a notification to each address; one that can not be reached loses its registrations.
    void SendIpcNotifications(CIpcMessage& notification, const std::list<std::string>& recipients);
    void SendNotify(CIpcMessage& notification, const std::string& address);

    /// For `CIpcLocalClient`: a recipient that is called. @returns its address, like "LOCAL.1"
    std::string AddLocalRecipient(CIpcNotifier::LocalHandler handler);
    void RemoveLocalRecipient(const std::string& address); ///< ends its registrations

private:
    enum class EKind
    {
        Command,
        Request,
    };
    struct SCode // of messages that are not about a control
    {
        const char* mCode;
        EKind mKind;
        void (CIpcEventDispatcher::*mAnswer)(CIpcMessage& message, std::list<CIpcMessage>& replies);
    };
    static const SCode kCodes[];

    void AnswerBytes(CIpcMessage& message, std::vector<unsigned char>& bytes);
    void AnswerWanted(CIpcMessage& message, std::list<CIpcMessage>& replies);
    void Answer(CIpcMessage& message, std::list<CIpcMessage>& replies);
    void AnswerRegistration(CIpcMessage& message, std::list<CIpcMessage>& replies);
    void AnswerStatus(CIpcMessage& message, std::list<CIpcMessage>& replies);
    CProjCon* FindControl(const std::string& code, const CIpcCaller& caller, CIpcMessage& reply);

    CEventDispatcher& mDispatcher;
    ILog& mLog;
    const CStatusDb* mStatus = nullptr;
    CSelectWrapper mSelect;
    CIpcClients mClients;
    CIpcNotifier mNotifier;
    CIpcRegistrar mRegistrar;
    std::vector<CSelectWrapper::SReady> mReady; // of this pass: the wrapper's own list may move meanwhile
    bool mProcessing = false;
};
