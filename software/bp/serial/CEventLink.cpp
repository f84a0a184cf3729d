// The exchange with its retries, and the typed operations on top of it.
#include "software/bp/serial/CEventLink.h"

#include "software/bp/serial/CIpcSocketClient.h"
#include "software/bp/serial/NIpcMsgUtil.h"
#include "software/include/ILog.h"
#include "software/utility/CIpcMessage.h"
#include "software/utility/NUtf8.h"

#include <chrono>
#include <exception>
#include <thread>
#include <utility>

namespace
{
constexpr unsigned kLastDoubledSeconds = 7;      // an interval above this was the last one
constexpr unsigned short kCodesPerMessage = 100; // what surely fits beside an address
constexpr unsigned kFarewellMs = 100;

CIpcMessage MakeRegistration(const std::string& address)
{
    CIpcMessage message;
    message.SetCode(NIpcMsgUtil::kRegistrationCode);
    message.SetSubCode("");
    message.AddArg(0, address);
    return message;
}

CIpcMessage MakeUnregisterAll(const std::string& address)
{
    CIpcMessage message = MakeRegistration(address);
    message.AddArg(1, NIpcMsgUtil::kEveryCode, eIpcUnregister);
    return message;
}

void SleepSeconds(unsigned seconds)
{
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
}
} // namespace

CEventLink::CEventLink(ILog& log, const char* uniqueName, const std::string& runDirectory)
    : CEventLink(log, std::make_unique<CIpcSocketClient>(uniqueName, runDirectory))
{
}

CEventLink::CEventLink(ILog& log, std::unique_ptr<IIpcClient> client)
    : mLog(log)
    , mClient(std::move(client))
    , mSleep(SleepSeconds)
{
}

// Says good-bye, so that the control process need not find out by a notification that reaches nobody.
CEventLink::~CEventLink()
{
    if (!mRegistered)
        return;
    try
    {
        CIpcMessage farewell = MakeUnregisterAll(mClient->GetNotifyAddress());
        mClient->Send(farewell, kFarewellMs);
    }
    catch (const std::exception& e)
    {
        mLog.LogDebug("%s not unregistered: %s", mClient->GetNotifyAddress().c_str(), e.what());
    }
}

void CEventLink::InitializeLink()
{
    SetInitialized();
}

void CEventLink::SetRetryMode(ERetryMode mode, unsigned initialSeconds) noexcept
{
    mRetryMode = mode;
    mInitialRetrySeconds = initialSeconds;
}

void CEventLink::SetSleep(std::function<void(unsigned)> sleep)
{
    mSleep = std::move(sleep);
}

// --- Messages ----------------------------------------------------------------------------------------------

EError CEventLink::SendCommand(int accessGroup, CIpcMessage& command, CIpcMessage& reply, unsigned timeoutMs)
{
    command.SetFlag(eFlagRequest, false);
    return Transact("SendCommand", accessGroup, command, timeoutMs, nullptr, reply);
}

EError CEventLink::SendRequest(int accessGroup, CIpcMessage& request, std::list<CIpcMessage>& replies,
                               unsigned timeoutMs)
{
    request.SetFlag(eFlagRequest);
    CIpcMessage last;
    return Transact("SendRequest", accessGroup, request, timeoutMs, &replies, last);
}

EError CEventLink::Transact(const char* function, int accessGroup, CIpcMessage& message, unsigned timeoutMs,
                            std::list<CIpcMessage>* replies, CIpcMessage& last)
{
    message.SetFlag(eFlagReplyWanted, timeoutMs != 0);
    const EError refusal = AddAccessGroup(message, accessGroup);
    if (refusal != eErrorNone)
        return refusal;

    unsigned seconds = mInitialRetrySeconds;
    EError error = eErrorNone;
    do
    {
        if (replies != nullptr)
            replies->clear();
        error = Attempt(function, message, timeoutMs, replies, last);
    } while (error != eErrorNone && CheckForRetryAndSleep(function, error, message, seconds));

    if (accessGroup != kNoAccessGroup)
        message.RemoveArg(eIpcArgAccessGroup);
    if (error == eErrorNone && mLog.IsEnabled(ELogLevel::Debug))
        mLog.LogDebug("%s successful, returned:%d, %s+%s", function, static_cast<int>(error),
                      message.GetCode().c_str(), message.GetSubCode().c_str());
    return error;
}

// Also finds out what no attempt could send.
EError CEventLink::AddAccessGroup(CIpcMessage& message, int accessGroup)
{
    if (accessGroup != kNoAccessGroup)
    {
        if (message.GetNumArgs() >= CIpcMessage::kMaxArgs)
            return eErrorTooManyParameters;
        message.AddArg(eIpcArgAccessGroup, accessGroup);
    }
    unsigned char* bytes = nullptr;
    if (message.SerializeMessage(bytes) <= CIpcMessage::kMaxSize)
        return eErrorNone;
    if (accessGroup != kNoAccessGroup)
        message.RemoveArg(eIpcArgAccessGroup);
    return eErrorExceededListSize;
}

EError CEventLink::Attempt(const char* function, CIpcMessage& message, unsigned timeoutMs,
                           std::list<CIpcMessage>* replies, CIpcMessage& last)
{
    try
    {
        if (!mInitialized)
            InitializeLink();
        return mInitialized ? Exchange(message, timeoutMs, replies, last) : eErrorCommunications;
    }
    catch (const std::exception& e)
    {
        mLog.LogError("%s Transmit failed: %s", function, e.what());
        return eErrorCommunications;
    }
}

EError CEventLink::Exchange(CIpcMessage& message, unsigned timeoutMs, std::list<CIpcMessage>* replies,
                            CIpcMessage& last)
{
    const bool sent = mClient->Send(message, timeoutMs);
    if (timeoutMs == 0)
    {
        if (message.HasFlag(eFlagRequest))
            mClient->Disconnect(); // its replies come all the same, and would answer the next message
        return sent ? eErrorNone : eErrorTimeout;
    }
    for (bool more = sent; more;)
    {
        if (!mClient->Receive(last, timeoutMs))
            break;
        more = last.HasFlag(eFlagMoreFollows);
        last.SetFlag(eFlagMoreFollows, false);
        if (replies != nullptr)
            replies->push_back(last);
        const EError error = NIpcMsgUtil::GetError(last);
        if (error != eErrorNone && more)
            mClient->Disconnect(); // nobody takes what follows
        if (error != eErrorNone || !more)
            return error;
    }
    mClient->Disconnect(); // a late reply would answer the next message
    return eErrorTimeout;
}

// The mode alone decides, whatever the error.
bool CEventLink::CheckForRetryAndSleep(const char* function, EError error, const CIpcMessage& message,
                                       unsigned& seconds)
{
    if (mRetryMode == eRetryNone || mClient->IsLocal())
        return false;
    if (mRetryMode == eRetryDoubling)
    {
        if (seconds > kLastDoubledSeconds)
            return false;
        seconds *= 2;
    }
    mLog.LogWarning("%s busy or not responding (%d). Retrying after %ds, %s+%s", function,
                    static_cast<int>(error), static_cast<int>(seconds), message.GetCode().c_str(),
                    message.GetSubCode().c_str());
    mSleep(seconds);
    return true;
}

// --- Typed operations --------------------------------------------------------------------------------------

EError CEventLink::Request(int accessGroup, const std::string& code, CIpcMessage& reply)
{
    CIpcMessage request;
    if (!NIpcMsgUtil::SetFullCode(request, code))
        return eErrorControlNotFound;
    std::list<CIpcMessage> replies;
    const EError error = SendRequest(accessGroup, request, replies, mTimeoutMs);
    if (error == eErrorNone)
        reply = std::move(replies.back());
    return error;
}

EError CEventLink::GetText(int accessGroup, const std::string& code, std::string& text)
{
    CIpcMessage reply;
    const EError error = Request(accessGroup, code, reply);
    if (error != eErrorNone)
        return error;
    const bool isEntry = reply.IsNumberArg(0) && reply.IsTextArg(1); // a list tells its entry's text too
    return reply.GetArg(isEntry ? 1 : 0, text) ? eErrorNone : eErrorWrongControlType;
}

EError CEventLink::GetValue(int accessGroup, const std::string& code, int& value)
{
    CIpcMessage reply;
    const EError error = Request(accessGroup, code, reply);
    if (error != eErrorNone)
        return error;
    return reply.GetArg(0, value) ? eErrorNone : eErrorWrongControlType;
}

EError CEventLink::SetText(int accessGroup, const std::string& code, const std::string& text)
{
    CIpcMessage command;
    if (!NIpcMsgUtil::SetFullCode(command, code))
        return eErrorControlNotFound;
    if (!NUtf8::IsStorable(text))
        return eErrorInvalidValue;
    command.AddArg(0, text);
    CIpcMessage reply;
    return SendCommand(accessGroup, command, reply, mTimeoutMs);
}

EError CEventLink::SetValue(int accessGroup, const std::string& code, int value)
{
    CIpcMessage command;
    if (!NIpcMsgUtil::SetFullCode(command, code))
        return eErrorControlNotFound;
    command.AddArg(0, value);
    CIpcMessage reply;
    return SendCommand(accessGroup, command, reply, mTimeoutMs);
}

// --- Notifications -----------------------------------------------------------------------------------------

EError CEventLink::NotifyRegister(int accessGroup, const std::string& code, bool sendNow)
{
    return NotifyRegister(accessGroup, std::list<SControlSet>{{code, sendNow}});
}

EError CEventLink::NotifyRegister(int accessGroup, const std::list<SControlSet>& controls)
{
    if (!OpenNotify())
        return eErrorCommunications;
    mRegistered = true;
    return SendRegistrations(accessGroup, controls, true);
}

EError CEventLink::NotifyUnregister(int accessGroup, const std::string& code)
{
    return NotifyUnregister(accessGroup, std::list<SControlSet>{{code}});
}

EError CEventLink::NotifyUnregister(int accessGroup, const std::list<SControlSet>& controls)
{
    return SendRegistrations(accessGroup, controls, false);
}

EError CEventLink::NotifyUnregisterAll(const std::string& address)
{
    CIpcMessage message = MakeUnregisterAll(address);
    CIpcMessage reply;
    return SendCommand(kNoAccessGroup, message, reply, mTimeoutMs);
}

EError CEventLink::SendRegistrations(int accessGroup, const std::list<SControlSet>& controls, bool registers)
{
    for (auto next = controls.begin(); next != controls.end();)
    {
        CIpcMessage message = MakeRegistration(GetNotifySocketName());
        for (unsigned short key = 1; key <= kCodesPerMessage && next != controls.end(); ++key, ++next)
        {
            std::string code = next->mCode;
            if (!NIpcMsgUtil::IsCarriedCode(code))
                return eErrorControlNotFound;
            const EIpcRegistration wanted = next->mSendNow ? eIpcRegisterSendNow : eIpcRegister;
            message.AddArg(key, code, registers ? wanted : eIpcUnregister);
        }
        CIpcMessage reply;
        const EError error = SendCommand(accessGroup, message, reply, mTimeoutMs);
        if (error != eErrorNone)
            return error;
    }
    return eErrorNone;
}

bool CEventLink::OpenNotify()
{
    try
    {
        mClient->OpenNotify();
        return true;
    }
    catch (const std::exception& e)
    {
        mLog.LogError("%s", e.what());
        return false;
    }
}

void CEventLink::ProcessNotify(std::list<CIpcMessage>& notifications)
{
    mClient->ProcessNotify(notifications);
}

void CEventLink::SetNotifyHandler(IIpcClient::NotifyHandler handler)
{
    mClient->SetNotifyHandler(std::move(handler));
}

int CEventLink::GetNotifyDescriptor()
{
    return OpenNotify() ? mClient->GetNotifyDescriptor() : -1;
}

const std::string& CEventLink::GetNotifySocketName() const noexcept
{
    return mClient->GetNotifyAddress();
}

bool CEventLink::IsNotifyLost() const noexcept
{
    return mClient->IsNotifyLost();
}
