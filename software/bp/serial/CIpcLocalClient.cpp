// Messages by call, notifications by call or kept for the next look.
#include "software/bp/serial/CIpcLocalClient.h"

#include "software/bp/serial/CIpcEventDispatcher.h"

#include <utility>
#include <vector>

CIpcLocalClient::CIpcLocalClient(CIpcEventDispatcher& server)
    : mServer(server)
    , mAddress(server.AddLocalRecipient([this](const CIpcMessage& message) { TakeNotification(message); }))
{
}

CIpcLocalClient::~CIpcLocalClient()
{
    mServer.RemoveLocalRecipient(mAddress);
}

bool CIpcLocalClient::Send(CIpcMessage& message, unsigned)
{
    // Answered aside: a notification on the way may make this client send, and receive, another message.
    std::list<CIpcMessage> replies;
    mServer.HandleMessage(message, replies);
    mReplies = std::move(replies);
    return true;
}

bool CIpcLocalClient::Receive(CIpcMessage& reply, unsigned)
{
    if (mReplies.empty())
        return false;
    reply = std::move(mReplies.front());
    mReplies.pop_front();
    return true;
}

void CIpcLocalClient::Disconnect() noexcept
{
    mReplies.clear();
}

void CIpcLocalClient::ProcessNotify(std::list<CIpcMessage>& notifications)
{
    for (; !mNotifications.IsEmpty(); mNotifications.PopFront())
        notifications.emplace_back().DeserializeMessage(mNotifications.GetFront()->data(), nullptr);
}

void CIpcLocalClient::TakeNotification(const CIpcMessage& notification)
{
    if (mHandler)
    {
        const NotifyHandler handler = mHandler; // by copy: it may replace itself, or end this client
        return handler(notification);
    }
    CIpcMessage copy(notification);
    unsigned char* bytes = nullptr;
    const unsigned size = copy.SerializeMessage(bytes); // it fits, for it was sent
    mNotifications.Put(CNotificationQueue::MakeKey(copy),
                       std::make_shared<std::vector<unsigned char>>(bytes, bytes + size));
}
