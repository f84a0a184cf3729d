// The way to the control process from inside it.
#pragma once

#include "software/bp/serial/CNotificationQueue.h"
#include "software/bp/serial/IIpcClient.h"
#include "software/utility/CIpcMessage.h"

#include <list>
#include <string>
#include <utility>

class CIpcEventDispatcher;

/// Hands messages straight to the server, which answers before `Send` returns: a socket would wait for the
/// very thread that has to answer. Nothing waits here and nothing blocks. Its notification address is a name
/// like "LOCAL.1", which no socket can have, known to the server for the life of the client. Used from the
/// loop's thread; a notification handler may send further messages.
class CIpcLocalClient : public IIpcClient
{
public:
    /// @param server  not owned, must outlive the client
    explicit CIpcLocalClient(CIpcEventDispatcher& server);
    CIpcLocalClient(const CIpcLocalClient&) = delete;
    CIpcLocalClient& operator=(const CIpcLocalClient&) = delete;
    ~CIpcLocalClient() override; ///< ends its registrations

    bool Send(CIpcMessage& message, unsigned timeoutMs) override;
    bool Receive(CIpcMessage& reply, unsigned timeoutMs) override; ///< false when no reply is left
    void Disconnect() noexcept override;
    bool IsLocal() const noexcept override { return true; }
    bool OpenNotify() override { return false; }
    const std::string& GetNotifyAddress() const noexcept override { return mAddress; }
    int GetNotifyDescriptor() const noexcept override { return -1; }
    void ProcessNotify(std::list<CIpcMessage>& notifications) override;
    bool IsNotifyLost() const noexcept override { return false; }
    void SetNotifyHandler(NotifyHandler handler) override { mHandler = std::move(handler); }

private:
    void TakeNotification(const CIpcMessage& notification);

    CIpcEventDispatcher& mServer;
    std::string mAddress;
    std::list<CIpcMessage> mReplies;
    NotifyHandler mHandler;
    CNotificationQueue mNotifications; // while there is no handler: the latest of each kind
};
