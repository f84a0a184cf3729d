// CEventLink answers error codes; here they become sentences and exit codes.
#include "apps/lanternctl/CIpcLink.h"

#include "apps/lanternctl/CCommandFailure.h"
#include "software/bp/serial/CEventLink.h"
#include "software/bp/serial/NIpcMsgUtil.h"
#include "software/bp/serial/NIpcSocket.h"
#include "software/utility/CException.h"
#include "software/utility/CIpcMessage.h"

#include <cerrno>
#include <cstring>
#include <sys/socket.h>

namespace
{
constexpr char kUniqueName[] = "lanternctl";
constexpr int kNobody = CEventLink::kNoAccessGroup;

} // namespace

CIpcLink::CIpcLink(const std::string& runDirectory, std::chrono::milliseconds timeout)
    : mName(NIpcSocket::MakeServerName(runDirectory))
    , mTimeout(timeout)
{
    try
    {
        CheckConnection();
        mLink = std::make_unique<CEventLink>(mLog, kUniqueName, runDirectory);
    }
    catch (const CException& e) // of a name
    {
        throw CCommandFailure(EExitCode::WrongUsage, e.GetMessage());
    }
    mLink->SetTimeout(static_cast<unsigned>(mTimeout.count()));
}

CIpcLink::~CIpcLink() = default;

// Tells why there is no connection, which an error code can not.
void CIpcLink::CheckConnection() const
{
    const CDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!socket.IsOpen())
        NWait::FailNoConnection(mName, std::strerror(errno));
    const int error = NIpcSocket::Connect(socket, mName);
    if (error != 0 && error != EAGAIN) // busy: the link waits for its turn
        NWait::FailNoConnection(mName, std::strerror(error));
}

void CIpcLink::Watch(const std::vector<std::string>& codes)
{
    if (mLink->GetNotifyDescriptor() < 0)
        NWait::FailConnection("unable to open a socket for notifications in " +
                              NIpcSocket::GetRunDirectory(mName) +
                              ": it takes the right to make files there");
    std::string subject;
    std::list<SControlSet> controls;
    for (const std::string& code : codes)
    {
        subject += (subject.empty() ? "" : ", ") + code;
        controls.push_back({code, true});
    }
    if (const Refusal refusal = Judge(mLink->NotifyRegister(kNobody, controls), nullptr))
        FailRefused(subject, *refusal);
}

CMessageLink::Refusal CIpcLink::Request(CIpcMessage& request, std::list<CIpcMessage>& replies)
{
    const EError error =
        mLink->SendRequest(kNobody, request, replies, static_cast<unsigned>(mTimeout.count()));
    return Judge(error, replies.empty() ? nullptr : &replies.back());
}

CMessageLink::Refusal CIpcLink::Command(CIpcMessage& command, CIpcMessage& reply)
{
    const EError error = mLink->SendCommand(kNobody, command, reply, static_cast<unsigned>(mTimeout.count()));
    return Judge(error, &reply);
}

// @param answer  the last message that came, if any
CMessageLink::Refusal CIpcLink::Judge(EError error, const CIpcMessage* answer) const
{
    if (error == eErrorNone)
        return std::nullopt;
    if (answer != nullptr && NIpcMsgUtil::GetError(*answer) == error)
        return SRefusal{error, NIpcMsgUtil::GetErrorText(*answer)};
    if (error == eErrorTimeout)
        NWait::FailNoAnswer(mName, mTimeout);
    if (error == eErrorCommunications)
        NWait::FailLost(mName);
    return SRefusal{error, ""};
}

IProjectorLink::EWait CIpcLink::Receive(const NWait::Deadline& deadline, int interrupt)
{
    const EWait wait = NWait::ForInput(mLink->GetNotifyDescriptor(), deadline, interrupt);
    if (wait != EWait::Change)
        return wait;
    std::list<CIpcMessage> notifications;
    mLink->ProcessNotify(notifications);
    for (const CIpcMessage& notification : notifications)
        TakeNotification(notification);
    if (notifications.empty() && mLink->IsNotifyLost())
        NWait::FailLost(mName);
    return EWait::Change;
}
