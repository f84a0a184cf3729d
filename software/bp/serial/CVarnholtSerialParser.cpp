// What becomes of a complete message, and what is written on the line.
#include "software/bp/serial/CVarnholtSerialParser.h"

#include "software/bp/serial/CCommPort.h"
#include "software/bp/serial/CEventLink.h"
#include "software/bp/serial/CSerialHandler.h"
#include "software/bp/serial/NErrorText.h"
#include "software/bp/serial/NIpcMsgUtil.h"
#include "software/bp/serial/NSerialError.h"
#include "software/bp/serial/NSerialPrefix.h"
#include "software/bp/serial/NSerialRouting.h"
#include "software/include/ILog.h"
#include "software/include/ILogIn.h"
#include "software/utility/NUtf8.h"

#include <algorithm>
#include <exception>
#include <list>

namespace
{
constexpr auto kThreeDigits = static_cast<EParmFlags>(eParmNumber | 3);

constexpr char kKeyCode[] = "KEY";
constexpr char kAck = '$';
constexpr char kNak = '^';

void CopyArg(CIpcMessage& to, unsigned short toKey, const CIpcMessage& from, unsigned short fromKey)
{
    EParmFlags flags = eParmText;
    unsigned char modifier = 0;
    std::string text;
    int value = 0;
    from.GetArgFlags(fromKey, flags);
    from.GetModifier(fromKey, modifier);
    if (from.GetArg(fromKey, value))
        to.AddArg(toKey, value, flags, modifier);
    else if (from.GetArg(fromKey, text))
        to.AddArg(toKey, text, modifier);
}

bool GetFilledText(const CIpcMessage& message, unsigned short key, std::string& text)
{
    return message.IsTextArg(key) && message.GetArg(key, text) && !text.empty();
}
} // namespace

CVarnholtSerialParser::CVarnholtSerialParser(CEventLink* link, CSerialHandler* handler, CCommPort* port,
                                             ILog& log)
    : mLink(link)
    , mHandler(handler)
    , mPort(port)
    , mLog(log)
    , mReceiver(mAddress)
    , mOutput(*port, log)
    , mSession(*link, handler->GetClock(), port->GetName(), log)
    , mAlive(std::make_shared<bool>(true))
{
    mLink->SetNotifyHandler([this](const CIpcMessage& notification) { HandleNotification(notification); });
}

CVarnholtSerialParser::~CVarnholtSerialParser()
{
    mLink->SetNotifyHandler({});
}

void CVarnholtSerialParser::UpdateAddress(int address) noexcept
{
    const bool isUnit = address >= 0 && address <= NSerialPrefix::kLastUnit;
    mAddress = isUnit ? static_cast<unsigned short>(address) : CIpcMessage::kNoAddress;
}

// --- Receiving ---------------------------------------------------------------------------------------------

ERxResult CVarnholtSerialParser::ProcessData()
{
    return IsClosed() ? ERxResult::Closed : UpdateRxd();
}

ERxResult CVarnholtSerialParser::UpdateRxd()
{
    mRxResult = ERxResult::Busy;
    if (mLogInRunning || (!HasInput() && !FillBuffer()))
        return mRxResult;
    const char* at = mRxBuffer.data() + mRxRead;
    mRxResult = mReceiver.Take(at, mRxBuffer.data() + mRxFilled);
    mRxRead = static_cast<std::size_t>(at - mRxBuffer.data());
    if (mRxResult == ERxResult::Complete)
        RxdMessageComplete();
    else if (mRxResult == ERxResult::SyntaxError)
        SyntaxError(mReceiver.GetError());
    return GetResult(); // a port may have failed meanwhile
}

bool CVarnholtSerialParser::FillBuffer()
{
    const int count =
        mPort->Read(reinterpret_cast<unsigned char*>(mRxBuffer.data()), static_cast<int>(mRxBuffer.size()));
    if (count == CCommPort::kNothingYet)
        return false;
    if (count <= 0)
    {
        mRxResult = ERxResult::Closed;
        return false;
    }
    mRxRead = 0;
    mRxFilled = static_cast<std::size_t>(count);
    return true;
}

void CVarnholtSerialParser::SyntaxError(const SSyntaxError& error)
{
    std::string line = std::string("Syntax Error: ") + error.mText;
    if (error.mValue != SSyntaxError::kNoValue)
        line += ": " + std::to_string(error.mValue);
    mLog.LogWarning("%s", line.c_str());
    SendErrorBroadcast(ELogLevel::Normal, eErrorSerialReceive, line);
}

// --- Complete messages -------------------------------------------------------------------------------------

void CVarnholtSerialParser::RxdMessageComplete()
{
    const CIpcMessage& message = GetMessage();
    mCode = FindSerialCode(message.GetPackedCode());
    RxdPreProcessMsg();
    if (message.HasFlag(eFlagNotAddressed) || message.GetDestination() == mAddress)
        RxdProcessMsg();
}

// Passes on what may be for others. A text that nobody may store goes nowhere.
void CVarnholtSerialParser::RxdPreProcessMsg()
{
    const CIpcMessage& message = GetMessage();
    const bool isForUsAlone = !message.HasFlag(eFlagNotAddressed) && message.GetDestination() == mAddress;
    if (isForUsAlone || mReceiver.IsTextRefused() || mCode == ESerialCode::LogIn)
        return;
    const unsigned char targets = NSerialRouting::GetTargets(mRouting, mPort->GetNumber());
    if (targets == 0)
        return;
    const std::string_view text = mOutput.Format(message);
    mHandler->RelayMessage(this, reinterpret_cast<const unsigned char*>(text.data()),
                           static_cast<int>(text.size()), targets);
}

void CVarnholtSerialParser::RxdProcessMsg()
{
    mSession.EndIfIdle();
    mSession.KeepAlive();
    mAckWanted = GetMessage().HasFlag(eFlagReplyWanted);
    const bool success = HandleMessage();
    if (!mLogInRunning) // else it acknowledges when it ends
        Acknowledge(success);
}

void CVarnholtSerialParser::Acknowledge(bool success)
{
    if (!mAckWanted)
        return;
    mAckWanted = false;
    if (success)
        SendAck();
    else
        SendNak();
}

bool CVarnholtSerialParser::HandleMessage()
{
    if (mCode == ESerialCode::Ignored)
        return true;
    CIpcMessage& message = GetMessage();
    const bool isRequest = message.HasFlag(eFlagRequest);
    if (message.HasFlag(eFlagReply) && !isRequest)
        return ExtReply(&message);
    if (mReceiver.IsTextRefused())
    {
        SendSerialError(eErrorInvalidValue, "");
        return false;
    }
    return isRequest ? ExtRequest(&message) : ExtCommand(&message);
}

bool CVarnholtSerialParser::ExtReply(CIpcMessage*)
{
    return false;
}

bool CVarnholtSerialParser::IsRefused(bool isCommand)
{
    const bool isRefused =
        mRemoteAccess == eRemoteAccessOff || (isCommand && mRemoteAccess == eRemoteAccessReadOnly);
    if (isRefused)
        SendSerialError(eErrorCommandNotExecuted, "");
    return isRefused;
}

bool CVarnholtSerialParser::ExtCommand(CIpcMessage* command)
{
    if (mCode == ESerialCode::LogIn)
        return HandleUserLogin(command);
    if (mCode == ESerialCode::Request)
        return ExtRequest(command);
    if (IsRefused(mCode != ESerialCode::Registration))
        return false;
    if (mCode == ESerialCode::Registration)
        return HandleNotificationRequests(*command);

    CIpcMessage reply;
    const EError error =
        mLink->SendCommand(mSession.GetAccessGroup(), *command, reply, CEventLink::kDefaultTimeoutMs);
    if (error != eErrorNone)
    {
        SendSerialError(error, NIpcMsgUtil::GetErrorText(reply));
        return false;
    }
    if (reply.GetNumArgs() != 0)
        SendReply(reply);
    return true;
}

bool CVarnholtSerialParser::ExtRequest(CIpcMessage* request)
{
    if (mCode == ESerialCode::LogIn)
        return HandleUserLogin(request);
    if (IsRefused(false))
        return false;

    std::list<CIpcMessage> replies;
    const EError error =
        mLink->SendRequest(mSession.GetAccessGroup(), *request, replies, CEventLink::kDefaultTimeoutMs);
    bool isTold = false;
    for (CIpcMessage& reply : replies)
    {
        const EError failure = NIpcMsgUtil::GetError(reply);
        if (failure == eErrorNone)
        {
            SendReply(reply);
            continue;
        }
        SendSerialError(failure, NIpcMsgUtil::GetErrorText(reply));
        isTold = true;
    }
    if (error != eErrorNone && !isTold) // it never came to the control process
        SendSerialError(error, "");
    return error == eErrorNone;
}

// --- Notifications -----------------------------------------------------------------------------------------

bool CVarnholtSerialParser::HandleNotificationRequests(const CIpcMessage& message)
{
    CIpcMessage request;
    request.SetCode(NIpcMsgUtil::kRegistrationCode);
    request.SetSubCode("");
    request.AddArg(0, mLink->GetNotifySocketName());
    const std::size_t count = std::min(message.GetNumArgs(), CIpcMessage::kMaxArgs - 1);
    for (unsigned short key = 0; key < count; ++key)
        CopyArg(request, static_cast<unsigned short>(key + 1), message, key);

    CIpcMessage reply;
    // One that was cut is full, and the link refuses it for that.
    const EError error =
        mLink->SendCommand(mSession.GetAccessGroup(), request, reply, CEventLink::kDefaultTimeoutMs);
    if (error == eErrorNone)
    {
        mSession.KeepRegistrations(message);
        return true;
    }
    const std::string text = NIpcMsgUtil::GetErrorText(reply);
    SendSerialError(eErrorInvalidParameter, text.empty() ? NErrorText::GetErrorString(error) : text);
    return false;
}

// The line shows no keys, so a member other than the value would look like one.
void CVarnholtSerialParser::HandleNotification(const CIpcMessage& notification)
{
    EParmFlags flags = eParmText;
    if (!notification.GetArgFlags(0, flags))
        return;
    CIpcMessage line;
    line.CopyHeader(notification);
    line.SetFlags(eFlagReply);
    CopyArg(line, 0, notification, 0);
    Send(NSerialRouting::kOwnPort, &line);
}

// --- Log-in ------------------------------------------------------------------------------------------------

bool CVarnholtSerialParser::HandleUserLogin(CIpcMessage* message)
{
    std::string user;
    std::string password;
    if (!GetFilledText(*message, 0, user) || !GetFilledText(*message, 1, password))
    {
        SendSerialError(eErrorTooFewParameters, "Missing user/password or quotes");
        return false;
    }
    mLogInRunning = true;
    ILogIn* const logIn = mHandler->GetLogIn();
    if (logIn == nullptr) // there are no accounts
    {
        FinishLogIn(user, SLogInResult());
        return false;
    }
    try
    {
        logIn->LogIn(user, password, mPort->GetName(),
                     [this, user, alive = std::weak_ptr<bool>(mAlive)](const SLogInResult& result)
                     {
                         if (!alive.expired())
                             FinishLogIn(user, result);
                     });
    }
    catch (const std::exception& e)
    {
        mLog.LogError("Serial port %s: log-in failed: %s", mPort->GetName().c_str(), e.what());
        FinishLogIn(user, SLogInResult());
    }
    return true;
}

void CVarnholtSerialParser::FinishLogIn(const std::string& user, const SLogInResult& result)
{
    if (!mLogInRunning)
        return;
    mLogInRunning = false;
    const bool success = result.mLevel != eAccessNone;
    if (success)
    {
        mSession.LogIn(user, result.mLevel);
        CIpcMessage reply(GetMessage());
        reply.ClearArgs();
        reply.AddArg(0, result.mLevel, kThreeDigits);
        SendReply(reply);
    }
    else
    {
        std::string name;
        NUtf8::AppendPrintable(name, user);
        mLog.LogWarning("Serial port %s: log-in of %s failed", mPort->GetName().c_str(), name.c_str());
        SendSerialError(eErrorAccessGroup, "Invalid user name or password");
    }
    GetMessage().ClearArgs(); // the password
    Acknowledge(success);
    mHandler->Wake(); // the line goes on
}

// --- Sending -----------------------------------------------------------------------------------------------

int CVarnholtSerialParser::Send(unsigned char portMask, const CIpcMessage* message)
{
    const std::string_view text = mOutput.Format(*message);
    if ((portMask & NSerialRouting::kOwnPort) != 0)
        mOutput.Send(text);
    return static_cast<int>(text.size());
}

// An answer to the message that is being handled, back to where that came from.
void CVarnholtSerialParser::SendReply(CIpcMessage& reply)
{
    reply.SetFlags(eFlagReply | (GetMessage().GetFlags() & (eFlagChecksum | eFlagHash)));
    reply.SetSource(mAddress);
    reply.SetDestination(GetMessage().GetSource());
    Send(NSerialRouting::kOwnPort, &reply);
}

void CVarnholtSerialParser::SendError(ELogLevel level, EError code, const std::string& text,
                                      const CIpcMessage* cause)
{
    CIpcMessage error = NSerialError::Make(level, code, text);
    error.SetSource(mAddress);
    if (cause != nullptr && code != eErrorSerialReceive && cause->GetDestination() != CIpcMessage::kNoAddress)
        error.SetDestination(cause->GetDestination());
    Send(NSerialRouting::kOwnPort, &error);
}

void CVarnholtSerialParser::SendErrorBroadcast(ELogLevel level, EError code, const std::string& text)
{
    SendError(level, code, text, nullptr);
}

void CVarnholtSerialParser::SendSerialError(EError code, const std::string& text)
{
    const std::string reason = text.empty() ? NErrorText::GetErrorString(code) : text;
    SendError(ELogLevel::Normal, code, NSerialError::MakePrefix(GetMessage()) + reason, &GetMessage());
}

ERxResult CVarnholtSerialParser::ProcessErrors(const std::string& text, ELogLevel level, EFyiCode code)
{
    SendError(level, static_cast<EError>(code), text, nullptr);
    return GetResult();
}

void CVarnholtSerialParser::BroadcastKey(int key)
{
    CIpcMessage message;
    message.SetCode(kKeyCode);
    message.SetSubCode("");
    message.SetSource(mAddress);
    message.SetDestination(CIpcMessage::kEveryUnit);
    message.AddArg(0, key, kThreeDigits);
    Send(NSerialRouting::kOwnPort, &message);
}

void CVarnholtSerialParser::SendAck()
{
    mOutput.SendChar(kAck);
}

void CVarnholtSerialParser::SendNak()
{
    mOutput.SendChar(kNak);
}

void CVarnholtSerialParser::RelayMessage(const unsigned char* bytes, int length)
{
    if (length > 0)
        mOutput.Relay({reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length)});
}
