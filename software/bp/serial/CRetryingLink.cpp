// The exchange with its retries.
#include "software/bp/serial/CRetryingLink.h"

#include "software/bp/serial/NIpcMsgUtil.h"
#include "software/include/ILog.h"
#include "software/utility/CIpcMessage.h"

#include <chrono>
#include <exception>
#include <thread>
#include <utility>

namespace
{
constexpr unsigned kLastDoubledSeconds = 7; // an interval above this was the last one

void SleepSeconds(unsigned seconds)
{
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
}
} // namespace

CRetryingLink::CRetryingLink(ILog& log, std::unique_ptr<IIpcClient> client)
    : mLog(log)
    , mClient(std::move(client))
    , mSleep(SleepSeconds)
{
}

CRetryingLink::~CRetryingLink() = default;

void CRetryingLink::InitializeLink()
{
    SetInitialized();
}

void CRetryingLink::SetRetryMode(ERetryMode mode, unsigned initialSeconds) noexcept
{
    mRetryMode = mode;
    mInitialRetrySeconds = initialSeconds;
}

void CRetryingLink::SetSleep(std::function<void(unsigned)> sleep)
{
    mSleep = std::move(sleep);
}

EError CRetryingLink::SendCommand(int accessGroup, CIpcMessage& command, CIpcMessage& reply,
                                  unsigned timeoutMs)
{
    command.SetFlag(eFlagRequest, false);
    return Transact("SendCommand", accessGroup, command, timeoutMs, nullptr, reply);
}

EError CRetryingLink::SendRequest(int accessGroup, CIpcMessage& request, std::list<CIpcMessage>& replies,
                                  unsigned timeoutMs)
{
    request.SetFlag(eFlagRequest);
    CIpcMessage last;
    return Transact("SendRequest", accessGroup, request, timeoutMs, &replies, last);
}

EError CRetryingLink::Transact(const char* function, int accessGroup, CIpcMessage& message,
                               unsigned timeoutMs, std::list<CIpcMessage>* replies, CIpcMessage& last)
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
EError CRetryingLink::AddAccessGroup(CIpcMessage& message, int accessGroup)
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

EError CRetryingLink::Attempt(const char* function, CIpcMessage& message, unsigned timeoutMs,
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

EError CRetryingLink::Exchange(CIpcMessage& message, unsigned timeoutMs, std::list<CIpcMessage>* replies,
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
bool CRetryingLink::CheckForRetryAndSleep(const char* function, EError error, const CIpcMessage& message,
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
