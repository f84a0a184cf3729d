// A way from a link to the control process.
#pragma once

#include <functional>
#include <list>
#include <string>

class CIpcMessage;

/// Carries messages to `CIpcEventDispatcher` and its replies and notifications back: `CIpcSocketClient` from
/// another process, `CIpcLocalClient` from inside the control process. One thread uses it.
class IIpcClient
{
public:
    using NotifyHandler = std::function<void(const CIpcMessage& notification)>;

    virtual ~IIpcClient() = default;

    /// Hands a message over, connecting first where that is needed.
    /// @param timeoutMs  longest wait, 0: a default of the client's
    /// @returns false when the time ran out
    /// @throws CException when there is no way to the control process
    virtual bool Send(CIpcMessage& message, unsigned timeoutMs) = 0;
    /// Waits for the next reply.
    /// @returns false when the time ran out
    /// @throws CException when the connection was lost
    virtual bool Receive(CIpcMessage& reply, unsigned timeoutMs) = 0;
    /// Forgets replies that may still come: the next message starts afresh.
    virtual void Disconnect() noexcept = 0;
    /// Whether a message is answered on the calling thread: then nothing is gained by waiting and trying
    /// again.
    virtual bool IsLocal() const noexcept = 0;

    /// Makes ready to be notified; also where somebody has taken the notification socket's file away.
    /// @returns whether a file that was gone has been made again
    /// @throws CException when the notification socket can not be made
    virtual bool OpenNotify() = 0;
    /// What to register for notifications; the same for the life of the client.
    virtual const std::string& GetNotifyAddress() const noexcept = 0;
    /// Readable when notifications have arrived; -1 before `OpenNotify` and where there is none.
    virtual int GetNotifyDescriptor() const noexcept = 0;
    /// Appends what has arrived, without waiting, or hands it to the handler where there is one.
    virtual void ProcessNotify(std::list<CIpcMessage>& notifications) = 0;
    /// Whether the control process had connected to the notification socket and is gone: its registrations
    /// went with it and have to be made again. Up to date after `ProcessNotify`.
    virtual bool IsNotifyLost() const noexcept = 0;
    /// Takes notifications instead of the list of `ProcessNotify`. A local client calls it at the change
    /// itself, one that uses sockets from within `ProcessNotify`. An empty handler goes back to the list.
    virtual void SetNotifyHandler(NotifyHandler handler) = 0;
};
