// What a message asks for, and who answers it: a code with a row of its own, a custom handler, or a control.
#include "software/bp/serial/CIpcEventDispatcher.h"

#include "software/bp/serial/CCustomEventHandler.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CIpcCaller.h"
#include "software/bp/serial/CProjCon.h"
#include "software/bp/serial/NControlMessages.h"
#include "software/bp/serial/NIpcMsgUtil.h"
#include "software/bp/serial/NIpcSocket.h"
#include "software/bp/serial/NStatusMessages.h"
#include "software/include/ILog.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <utility>

namespace
{
static_assert(CIpcClients::kEndTag == CIpcNotifier::kFirstTag, "a tag says whose descriptor is ready");

CIpcMessage MakeReplyTo(const CIpcMessage& message)
{
    CIpcMessage reply(message.GetMessageType());
    reply.CopyHeader(message);
    reply.SetSource(message.GetSource());
    reply.SetDestination(message.GetDestination());
    reply.MakeReply(message.GetDestination());
    reply.SetFlag(eFlagMoreFollows, false);
    return reply;
}

void ReplaceByError(const CIpcMessage& message, std::list<CIpcMessage>& replies, EError error)
{
    replies.clear();
    NIpcMsgUtil::MakeErrorResponse(replies.emplace_back(MakeReplyTo(message)), error);
}

// Appends the bytes of the replies; an answer that does not fit into its messages becomes an error.
void Encode(const CIpcMessage& message, std::list<CIpcMessage>& replies, std::vector<unsigned char>& bytes)
{
    if (NIpcMsgUtil::AppendMessages(replies, bytes))
        return;
    ReplaceByError(message, replies, eErrorExceededListSize);
    if (!NIpcMsgUtil::AppendMessages(replies, bytes))
        replies.clear();
}
} // namespace

CIpcEventDispatcher::CIpcEventDispatcher(CEventDispatcher& dispatcher, const std::string& socketName,
                                         ILog& log)
    : mDispatcher(dispatcher)
    , mLog(log)
    , mClients(
          mSelect, socketName,
          [this](CIpcMessage& message, std::vector<unsigned char>& bytes) { AnswerBytes(message, bytes); },
          log)
    , mNotifier(mSelect, dispatcher.GetNotificationManager(), log)
    , mRegistrar(dispatcher, mNotifier, *this, socketName, log)
{
    // Whoever owned them was connected to an earlier process; only now is it sure that there is no other one.
    const std::string runDirectory = NIpcSocket::GetRunDirectory(socketName);
    if (const std::size_t removed = NIpcSocket::RemoveLeft(runDirectory); removed != 0)
        log.LogFYI(eFyiStartup, "%zu sockets of clients that are gone removed from %s", removed,
                   runDirectory.c_str());
    mDispatcher.SetIpcServer(this);
}

CIpcEventDispatcher::~CIpcEventDispatcher()
{
    mDispatcher.SetIpcServer(nullptr);
}

void CIpcEventDispatcher::ProcessEvents()
{
    if (mProcessing)
        return; // called from within a message: this pass goes on when it is done
    struct SPass
    {
        explicit SPass(bool& processing)
            : mProcessing(processing)
        {
            mProcessing = true;
        }
        ~SPass() { mProcessing = false; }
        bool& mProcessing;
    } const pass(mProcessing);

    mClients.Resume();
    mNotifier.RetryBusy();
    if (mClients.ServeLone() || !mSelect.Wait(0))
        return;
    mReady = mSelect.GetReady();
    for (const CSelectWrapper::SReady& ready : mReady)
    {
        if (ready.mTag < CIpcClients::kEndTag)
            mClients.OnReady(ready.mTag, ready.mReadable);
        else
            mNotifier.OnReady(ready.mTag, ready.mReadable, ready.mWritable);
    }
}

// --- Messages ----------------------------------------------------------------------------------------------

// The codes that a function of their own answers instead of a control. A further one is a row here.
const CIpcEventDispatcher::SCode CIpcEventDispatcher::kCodes[] = {
    {NIpcMsgUtil::kRegistrationCode, EKind::Command, &CIpcEventDispatcher::AnswerRegistration},
    {NStatusMessages::kCode, EKind::Request, &CIpcEventDispatcher::AnswerStatus},
};

void CIpcEventDispatcher::HandleMessage(CIpcMessage& message, std::list<CIpcMessage>& replies)
{
    AnswerWanted(message, replies);
    std::vector<unsigned char> unused;
    Encode(message, replies, unused); // the same limits as on a socket
}

void CIpcEventDispatcher::AnswerBytes(CIpcMessage& message, std::vector<unsigned char>& bytes)
{
    std::list<CIpcMessage> replies;
    AnswerWanted(message, replies);
    Encode(message, replies, bytes);
}

void CIpcEventDispatcher::AnswerWanted(CIpcMessage& message, std::list<CIpcMessage>& replies)
{
    replies.clear();
    if (message.HasFlag(eFlagReply))
        return; // nothing was asked that this could answer
    const bool wanted = message.HasFlag(eFlagReplyWanted) || message.HasFlag(eFlagRequest);
    try
    {
        Answer(message, replies);
    }
    catch (const std::exception& e) // from a custom handler or a control's hardware side
    {
        mLog.LogError("%s: %s", NIpcMsgUtil::GetFullCode(message).c_str(), e.what());
        ReplaceByError(message, replies, eErrorRequestThrew);
    }
    if (!wanted)
        replies.clear();
}

void CIpcEventDispatcher::Answer(CIpcMessage& message, std::list<CIpcMessage>& replies)
{
    const EKind kind = message.HasFlag(eFlagRequest) ? EKind::Request : EKind::Command;
    const std::string code = NIpcMsgUtil::GetFullCode(message);
    const auto own = std::find_if(std::begin(kCodes), std::end(kCodes),
                                  [&](const SCode& row) { return row.mKind == kind && code == row.mCode; });
    if (own != std::end(kCodes))
        (this->*own->mAnswer)(message, replies);
    else if (kind == EKind::Request)
        ProcessRequests(message, replies);
    else
        ProcessCommands(message, replies.emplace_back());
}

void CIpcEventDispatcher::AnswerRegistration(CIpcMessage& message, std::list<CIpcMessage>& replies)
{
    const SIpcRegistration result = ProcessNotificationRequests(message);
    message.RemoveArg(eIpcArgAccessGroup);
    CIpcMessage& reply = replies.emplace_back(MakeReplyTo(message));
    if (result.mError != eErrorNone)
        NIpcMsgUtil::MakeErrorResponse(reply, result.mError, result.mText);
}

// The status is open to all.
void CIpcEventDispatcher::AnswerStatus(CIpcMessage& message, std::list<CIpcMessage>& replies)
{
    if (mStatus == nullptr)
        return ProcessRequests(message, replies);
    message.RemoveArg(eIpcArgAccessGroup);
    NStatusMessages::AnswerRequest(*mStatus, message, MakeReplyTo(message), replies);
}

void CIpcEventDispatcher::ProcessCommands(CIpcMessage& command, CIpcMessage& reply)
{
    const CIpcCaller caller(command);
    command.RemoveArg(eIpcArgAccessGroup);
    const std::string code = NIpcMsgUtil::GetFullCode(command);
    reply = MakeReplyTo(command);
    if (CCustomEventHandler* const handler = mDispatcher.GetCustomHandler(code))
    {
        if (handler->HandleCommand(command, reply))
            return;
        reply = MakeReplyTo(command); // it may have begun to fill it
    }
    if (CProjCon* const control = FindControl(code, caller, reply))
        NControlMessages::ApplyCommand(*control, command, reply);
}

void CIpcEventDispatcher::ProcessRequests(CIpcMessage& request, std::list<CIpcMessage>& replies)
{
    const CIpcCaller caller(request);
    request.RemoveArg(eIpcArgAccessGroup);
    const std::string code = NIpcMsgUtil::GetFullCode(request);
    replies.clear();
    CCustomEventHandler* const handler = mDispatcher.GetCustomHandler(code);
    if (handler == nullptr || !handler->HandleRequest(request, replies))
    {
        replies.clear();
        CIpcMessage reply = MakeReplyTo(request);
        if (const CProjCon* const control = FindControl(code, caller, reply))
            NControlMessages::AnswerRequest(*control, request, std::move(reply), replies);
        else
            replies.push_back(std::move(reply));
    }
    if (replies.empty())
        replies.push_back(MakeReplyTo(request)); // whoever asked waits for one
    for (CIpcMessage& reply : replies)
        reply.SetFlag(eFlagMoreFollows, &reply != &replies.back());
}

// @returns null when the reply has become an error
CProjCon* CIpcEventDispatcher::FindControl(const std::string& code, const CIpcCaller& caller,
                                           CIpcMessage& reply)
{
    CProjCon* const control = mDispatcher.GetControl(code);
    if (control == nullptr)
    {
        mLog.LogWarning("%s NOT FOUND!", code.c_str());
        NIpcMsgUtil::MakeErrorResponse(reply, eErrorControlNotFound);
        return nullptr;
    }
    if (caller.MayUse(*control))
        return control;
    NIpcMsgUtil::MakeErrorResponse(reply, eErrorAccessGroup);
    return nullptr;
}

// --- Registrations and notifications -----------------------------------------------------------------------

SIpcRegistration CIpcEventDispatcher::ProcessNotificationRequests(const CIpcMessage& message)
{
    return mRegistrar.Process(message);
}

void CIpcEventDispatcher::MakeNotification(const CProjCon& control, ENotifyType type,
                                           std::list<std::string> recipients)
{
    CIpcMessage notification;
    if (!NIpcMsgUtil::SetFullCode(notification, control.GetCode()))
    {
        mLog.LogDebug("%s: no message can carry this sub-code; not notified", control.GetCode().c_str());
        return;
    }
    NControlMessages::AddState(notification, control, type, mLog);
    SendIpcNotifications(notification, recipients);
}

void CIpcEventDispatcher::SendIpcNotifications(CIpcMessage& notification,
                                               const std::list<std::string>& recipients)
{
    mNotifier.Send(notification, recipients);
}

void CIpcEventDispatcher::SendNotify(CIpcMessage& notification, const std::string& address)
{
    mNotifier.Send(notification, {address});
}

std::string CIpcEventDispatcher::AddLocalRecipient(CIpcNotifier::LocalHandler handler)
{
    return mNotifier.AddLocal(std::move(handler));
}

void CIpcEventDispatcher::RemoveLocalRecipient(const std::string& address)
{
    mNotifier.RemoveLocal(address);
}
