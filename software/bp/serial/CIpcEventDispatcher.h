// The server of the local IPC, inside the process that owns the controls.
#pragma once

#include "software/bp/serial/CIpcConnection.h"
#include "software/bp/serial/CIpcListener.h"
#include "software/bp/serial/CIpcNotifier.h"
#include "software/bp/serial/IIpcServer.h"
#include "software/bp/serial/NIpcSocket.h"
#include "software/include/EError.h"
#include "software/utility/CSelectWrapper.h"

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

class CEventDispatcher;
class CIpcMessage;
class CProjCon;
class ILog;

/// What became of a registration message.
struct SIpcRegistration
{
    EError mError = eErrorNone;
    std::string mText; ///< of a refusal, starts with "Notification System Error: "
};

/// Applies commands, answers requests, keeps registrations and sends notifications, for other processes over
/// Unix sockets and for `CIpcLocalClient` by call. It attaches itself to the dispatcher and takes itself off.
/// Nothing here waits for a client: one that does not read is dropped, one that stops reading notifications
/// gets the latest of each kind when it goes on. Used from the loop's thread only.
class CIpcEventDispatcher : public IIpcServer
{
public:
    /// Opens the socket. Its folder is the run directory: created if missing (0750), it holds the lock file
    /// SOCKET-NAME.lock and the sockets of the clients. A socket left by a crash is replaced.
    /// @param dispatcher   not owned, must outlive the server
    /// @throws CException  "Socket %s is served by another process already", "%s exists and is no socket",
    ///                     "Socket name %s is too long: ..." and those of the system calls
    CIpcEventDispatcher(CEventDispatcher& dispatcher, const std::string& socketName, ILog& log);
    CIpcEventDispatcher(const CIpcEventDispatcher&) = delete;
    CIpcEventDispatcher& operator=(const CIpcEventDispatcher&) = delete;
    ~CIpcEventDispatcher() override; ///< ends every registration that was made over it

    void ProcessEvents() override;
    void MakeNotification(const CProjCon& control, ENotifyType type,
                          std::list<std::string> recipients) override;

    /// Readable when `ProcessEvents` has something to do: the host adds it to its wait once. Besides, the
    /// host calls `ProcessEvents` at least every second or so, for what is tried again later.
    int GetDescriptor() const noexcept { return mSelect.GetDescriptor(); }

    /// Handles any message: a command, a request or a registration.
    /// @param message  loses its argument 231
    /// @param replies  replaced: what is to be sent back, in order, with flag 0x4 on all but the last; empty
    ///                 when the message wants no reply
    void HandleMessage(CIpcMessage& message, std::list<CIpcMessage>& replies);

    /// Applies a command and makes its reply.
    void ProcessCommands(CIpcMessage& command, CIpcMessage& reply);
    /// Answers a request; `replies` is replaced and has at least one.
    void ProcessRequests(CIpcMessage& request, std::list<CIpcMessage>& replies);
    /// Registers or unregisters argument 0, a notification address, on the codes in the arguments behind it:
    /// all of them, or none when one is refused.
    SIpcRegistration ProcessNotificationRequests(const CIpcMessage& message);

    /// Sends a notification to each address; one that can not be reached loses its registrations.
    void SendIpcNotifications(CIpcMessage& notification, const std::list<std::string>& recipients);
    void SendNotify(CIpcMessage& notification, const std::string& address);

    /// For `CIpcLocalClient`: a recipient that is called. @returns its address, "LOCAL.1"
    std::string AddLocalRecipient(CIpcNotifier::LocalHandler handler);
    void RemoveLocalRecipient(const std::string& address);

private:
    void Accept();
    void Serve(std::uint64_t tag, bool readable, bool writable);
    bool ReadMessages(CIpcConnection& connection);
    void Drop(std::uint64_t tag);

    CEventDispatcher& mDispatcher;
    ILog& mLog;
    CSelectWrapper mSelect;
    CIpcListener mListener;
    std::map<std::uint64_t, std::unique_ptr<CIpcConnection>> mConnections; // by tag
    std::uint64_t mNextTag;
    CIpcNotifier mNotifier;
    bool mProcessing = false;
};
