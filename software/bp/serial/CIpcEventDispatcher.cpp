// One pass serves every client that is ready, each with one read; the rules of the messages stand below it.
#include "software/bp/serial/CIpcEventDispatcher.h"

#include "software/bp/serial/CCustomEventHandler.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"
#include "software/bp/serial/NAccess.h"
#include "software/bp/serial/NControlMessages.h"
#include "software/bp/serial/NIpcMsgUtil.h"
#include "software/bp/serial/NIpcSocket.h"
#include "software/include/ILog.h"

#include <cstring>
#include <exception>
#include <string_view>
#include <utility>

namespace
{
constexpr std::uint64_t kNoTag = CSelectWrapper::kWakeTag; // no client has it
constexpr std::uint64_t kListenerTag = 0;
constexpr std::uint64_t kFirstConnectionTag = 1;
constexpr unsigned kMaxLoneTurns = 8;                      // of one message each, while others may wait
constexpr int kMaxAccepts = 64;                            // a pass
constexpr std::size_t kFlushSize = std::size_t{16} * 1024; // bytes of replies that are joined before sending
constexpr std::size_t kMaxQuoted = NIpcSocket::kMaxName;   // bytes of a foreign text in a refusal

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

SIpcRegistration Refuse(EError error, const std::string& text)
{
    return {error, "Notification System Error: " + text};
}

bool EndsWith(std::string_view text, std::string_view ending) noexcept
{
    return text.size() >= ending.size() && text.substr(text.size() - ending.size()) == ending;
}

bool IsRegistration(unsigned char modifier) noexcept
{
    return modifier == eIpcRegister || modifier == eIpcRegisterSendNow;
}
} // namespace

CIpcEventDispatcher::CIpcEventDispatcher(CEventDispatcher& dispatcher, const std::string& socketName,
                                         ILog& log)
    : mDispatcher(dispatcher)
    , mLog(log)
    , mListener(socketName, log)
    , mNotifier(mSelect, dispatcher.GetNotificationManager(), log)
    , mNextTag(kFirstConnectionTag)
    , mLoneTag(kNoTag)
{
    mSelect.Add(mListener.Get(), kListenerTag);
    mDispatcher.SetIpcServer(this);
}

CIpcEventDispatcher::~CIpcEventDispatcher()
{
    mDispatcher.SetIpcServer(nullptr);
}

// --- Clients and their bytes -------------------------------------------------------------------------------

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

    if (mListener.Resume())
        mSelect.Watch(mListener.Get(), kListenerTag, true, false);
    mNotifier.RetryBusy();
    if (AnswerLone())
        return;
    mAnswered = 0;
    if (!mSelect.Wait(0))
        return;
    mReady = mSelect.GetReady();
    for (const CSelectWrapper::SReady& ready : mReady)
        Dispatch(ready);
}

// Who asks one thing after another is read from before the system is asked who is ready: that saves a call on
// the way to the reply. The others are asked after a few turns at the latest.
// @returns whether there was something to answer
bool CIpcEventDispatcher::AnswerLone()
{
    if (mLoneTag == kNoTag || ++mLoneTurns > kMaxLoneTurns)
    {
        mLoneTag = kNoTag;
        mLoneTurns = 0;
        return false;
    }
    mAnswered = 0;
    Dispatch({std::exchange(mLoneTag, kNoTag), true, false});
    return mAnswered != 0;
}

void CIpcEventDispatcher::Dispatch(const CSelectWrapper::SReady& ready)
{
    try
    {
        if (ready.mTag == kListenerTag)
            Accept();
        else if (ready.mTag >= CIpcNotifier::kFirstTag)
            mNotifier.OnReady(ready.mTag, ready.mReadable, ready.mWritable);
        else
            Serve(ready.mTag, ready.mReadable);
    }
    catch (const std::exception& e)
    {
        mLog.LogError("IPC: %s", e.what());
        Drop(ready.mTag); // does nothing unless it was a client's
    }
}

void CIpcEventDispatcher::Accept()
{
    std::string peer;
    for (int i = 0; i < kMaxAccepts; ++i)
    {
        CDescriptor client = mListener.Accept(peer);
        if (!client.IsOpen())
            break;
        mSelect.Add(client.Get(), mNextTag);
        mConnections.try_emplace(mNextTag++, std::move(client), std::move(peer));
    }
    if (mListener.IsPaused())
        mSelect.Watch(mListener.Get(), kListenerTag, false, false);
}

void CIpcEventDispatcher::Serve(std::uint64_t tag, bool readable)
{
    const auto found = mConnections.find(tag);
    if (found == mConnections.end())
        return;
    CIpcConnection& connection = found->second;
    if (readable && !ReadMessages(tag, connection))
        return Drop(tag);
    if (connection.GetPending() != 0 && !connection.Flush())
        return Drop(tag);
    if (connection.GetPending() > CIpcConnection::kMaxPending)
    {
        mLog.LogWarning("IPC client %s: %zu bytes of replies not read; disconnected",
                        connection.GetName().c_str(), connection.GetPending());
        return Drop(tag);
    }
    WatchOutput(tag, connection);
}

// @returns false when the connection is to be closed
bool CIpcEventDispatcher::ReadMessages(std::uint64_t tag, CIpcConnection& connection)
{
    switch (connection.Read())
    {
    case CIpcConnection::ERead::Nothing: return true;
    case CIpcConnection::ERead::Data: return AnswerMessages(tag, connection);
    case CIpcConnection::ERead::Closed: break;
    }
    if (connection.GetUnread() != 0)
        mLog.LogWarning("IPC client %s: gone in the middle of a message; %zu bytes dropped",
                        connection.GetName().c_str(), connection.GetUnread());
    return false;
}

bool CIpcEventDispatcher::AnswerMessages(std::uint64_t tag, CIpcConnection& connection)
{
    std::string error;
    std::list<CIpcMessage> replies;
    while (const unsigned char* const bytes = connection.NextMessage(error))
    {
        mLoneTag = ++mAnswered == 1 ? tag : kNoTag;
        mMessage.DeserializeMessage(bytes, connection.GetName().c_str());
        AnswerWanted(mMessage, replies);
        Encode(mMessage, replies, connection.GetOutput());
        if (connection.GetPending() < kFlushSize)
            continue;
        if (!connection.Flush())
            return false;
        if (connection.GetPending() > CIpcConnection::kMaxPending)
            return true; // found out by the caller
    }
    if (error.empty())
        return true;
    mLog.LogWarning("IPC client %s: %s; disconnected", connection.GetName().c_str(), error.c_str());
    connection.Flush(); // what came before the damage has its replies
    return false;
}

void CIpcEventDispatcher::WatchOutput(std::uint64_t tag, CIpcConnection& connection)
{
    const bool waits = connection.GetPending() != 0;
    if (waits == connection.IsWatchedForWriting())
        return;
    mSelect.Watch(connection.Get(), tag, true, waits);
    connection.SetWatchedForWriting(waits);
}

void CIpcEventDispatcher::Drop(std::uint64_t tag) noexcept
{
    const auto found = mConnections.find(tag);
    if (found == mConnections.end())
        return;
    mSelect.Remove(found->second.Get());
    mConnections.erase(found);
}

// --- Messages ----------------------------------------------------------------------------------------------

void CIpcEventDispatcher::HandleMessage(CIpcMessage& message, std::list<CIpcMessage>& replies)
{
    AnswerWanted(message, replies);
    std::vector<unsigned char> unused;
    Encode(message, replies, unused); // the same limits as on a socket
}

// Appends the bytes of the replies; an answer that does not fit into its messages becomes an error.
void CIpcEventDispatcher::Encode(const CIpcMessage& message, std::list<CIpcMessage>& replies,
                                 std::vector<unsigned char>& bytes)
{
    if (NIpcMsgUtil::AppendMessages(replies, bytes))
        return;
    ReplaceByError(message, replies, eErrorExceededListSize);
    if (!NIpcMsgUtil::AppendMessages(replies, bytes))
        replies.clear();
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
    if (message.HasFlag(eFlagRequest))
        return ProcessRequests(message, replies);
    if (NIpcMsgUtil::GetFullCode(message) != NIpcMsgUtil::kRegistrationCode)
        return ProcessCommands(message, replies.emplace_back());
    const SIpcRegistration result = ProcessNotificationRequests(message);
    message.RemoveArg(eIpcArgAccessGroup);
    CIpcMessage& reply = replies.emplace_back(MakeReplyTo(message));
    if (result.mError != eErrorNone)
        NIpcMsgUtil::MakeErrorResponse(reply, result.mError, result.mText);
}

void CIpcEventDispatcher::ProcessCommands(CIpcMessage& command, CIpcMessage& reply)
{
    const CallerLevel caller = GetCallerLevel(command);
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
    const CallerLevel caller = GetCallerLevel(request);
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

CIpcEventDispatcher::CallerLevel CIpcEventDispatcher::GetCallerLevel(const CIpcMessage& message)
{
    std::string text;
    if (!message.GetArg(eIpcArgAccessGroup, text))
        return std::nullopt;
    int level = eAccessNone; // of a caller that says something else than a number
    message.GetArg(eIpcArgAccessGroup, level);
    return static_cast<EAccessLevel>(level);
}

bool CIpcEventDispatcher::MayUse(const CProjCon& control, CallerLevel caller) noexcept
{
    return !caller || NAccess::IsAllowed(control.GetAccessGroup(), *caller);
}

// @returns null when the reply has become an error
CProjCon* CIpcEventDispatcher::FindControl(const std::string& code, CallerLevel caller, CIpcMessage& reply)
{
    CProjCon* const control = mDispatcher.GetControl(code);
    if (control == nullptr)
    {
        mLog.LogWarning("%s NOT FOUND!", code.c_str());
        NIpcMsgUtil::MakeErrorResponse(reply, eErrorControlNotFound);
        return nullptr;
    }
    if (MayUse(*control, caller))
        return control;
    NIpcMsgUtil::MakeErrorResponse(reply, eErrorAccessGroup);
    return nullptr;
}

// --- Registrations and notifications -----------------------------------------------------------------------

SIpcRegistration CIpcEventDispatcher::ProcessNotificationRequests(const CIpcMessage& message)
{
    std::string address;
    std::list<SRegistration> registrations;
    SIpcRegistration result = CheckAddress(message, address);
    if (result.mError == eErrorNone)
        result = ReadRegistrations(message, registrations);
    bool registers = false;
    for (const SRegistration& registration : registrations)
        registers = registers || IsRegistration(registration.mModifier);
    if (result.mError == eErrorNone && registers)
    {
        if (const int error = mNotifier.Connect(address); error != 0)
            result = Refuse(eErrorCommunications,
                            "Unable to send notification to " + address + ". " + std::strerror(error));
    }
    if (result.mError == eErrorNone)
        Register(address, registrations);
    else
        mLog.LogWarning("%s", result.mText.c_str());
    return result;
}

// A recipient inside this process is known by its address, and nobody outside can take that: what comes over
// a socket has a sender.
SIpcRegistration CIpcEventDispatcher::CheckAddress(const CIpcMessage& message, std::string& address) const
{
    std::string unused;
    const std::size_t count = message.GetNumArgs() - (message.GetArg(eIpcArgAccessGroup, unused) ? 1 : 0);
    if (count < 2 || !message.GetArg(0, address))
        return Refuse(eErrorTooFewParameters, "Needs at least 2 arguments (" + std::to_string(count) + ")");
    if (!message.IsTextArg(0))
        return Refuse(eErrorInvalidParameter, "Invalid (non-text) argument " + address);
    if (message.GetSender().empty() && mNotifier.IsLocal(address))
        return {};
    const std::string runDirectory = NIpcSocket::GetRunDirectory(mListener.GetName());
    const bool isNotifySocket = NIpcSocket::Fits(address) && EndsWith(address, NIpcSocket::kNotifyEnding) &&
                                NIpcSocket::GetRunDirectory(address) == runDirectory;
    if (!isNotifySocket || CNotificationManager::IsJsonAddr(address))
        return Refuse(eErrorInvalidParameter, "Invalid address " + address.substr(0, kMaxQuoted));
    return {};
}

SIpcRegistration CIpcEventDispatcher::ReadRegistrations(const CIpcMessage& message,
                                                        std::list<SRegistration>& registrations)
{
    const CallerLevel caller = GetCallerLevel(message);
    unsigned short key = 0;
    std::string code;
    for (bool more = message.GetFirstArg(key, code); more; more = message.GetNextArg(key, code))
    {
        if (key == 0 || key == eIpcArgAccessGroup)
            continue;
        if (!message.IsTextArg(key))
            return Refuse(eErrorInvalidParameter,
                          "Invalid (non-text) argument " + code.substr(0, kMaxQuoted));
        SRegistration registration{code, 0};
        message.GetModifier(key, registration.mModifier);
        SIpcRegistration refusal = CheckRegistration(registration);
        if (refusal.mError != eErrorNone)
            return refusal;
        const CProjCon* const control = mDispatcher.GetControl(registration.mCode);
        if (IsRegistration(registration.mModifier) && control != nullptr && !MayUse(*control, caller))
            mLog.LogDebug("%s is protected; not registered", registration.mCode.c_str());
        else
            registrations.push_back(std::move(registration));
    }
    return {};
}

SIpcRegistration CIpcEventDispatcher::CheckRegistration(SRegistration& registration) const
{
    const bool registers = IsRegistration(registration.mModifier);
    if (!registers && registration.mModifier != eIpcUnregister)
        return Refuse(eErrorUnknownRequest, "Unsupported modifier");
    if (!registers && registration.mCode == NIpcMsgUtil::kEveryCode)
        return {};
    const std::string given = registration.mCode.substr(0, kMaxQuoted);
    // To unregister, the code need not exist any more.
    if (!NIpcMsgUtil::IsCarriedCode(registration.mCode) ||
        (registers && mDispatcher.GetControl(registration.mCode) == nullptr &&
         mDispatcher.GetCustomHandler(registration.mCode) == nullptr))
        return Refuse(eErrorControlNotFound, given + " NOT FOUND!");
    return {};
}

void CIpcEventDispatcher::Register(const std::string& address, const std::list<SRegistration>& registrations)
{
    CNotificationManager& manager = mDispatcher.GetNotificationManager();
    for (const auto& [code, modifier] : registrations)
    {
        if (IsRegistration(modifier))
            manager.NotifyRegister(code, address);
        else if (code == NIpcMsgUtil::kEveryCode)
            manager.NotifyUnregisterAll(address);
        else
            manager.NotifyUnregister(code, address, false);
    }
    // Now that all is said, for a recipient may act on its first state at once.
    for (const auto& [code, modifier] : registrations)
    {
        if (modifier == eIpcRegisterSendNow)
            SendState(code, address);
    }
    mNotifier.Release(address);
}

void CIpcEventDispatcher::SendState(const std::string& code, const std::string& address)
{
    if (const CProjCon* const control = mDispatcher.GetControl(code))
        MakeNotification(*control, eNotifyAll, {address});
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
