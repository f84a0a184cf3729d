// The exchange with its retries.
#include "software/bp/serial/CRetryingLink.h"

#include "software/bp/serial/NIpcMsgUtil.h"
#include "software/include/ILog.h"
#include "software/utility/CIpcMessage.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <thread>
#include <utility>

namespace
{
using Clock = std::chrono::steady_clock;

constexpr unsigned kLastDoubledSeconds = 7; // an interval above this was the last one
constexpr int kMaxWaits = 10;               // time-outs that all further replies may take together

// @returns milliseconds until the deadline, at most the time-out; 0 when it has passed
unsigned WaitUntil(Clock::time_point deadline, unsigned timeoutMs)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    return left.count() <= 0 ? 0 : static_cast<unsigned>(std::min<long long>(left.count(), timeoutMs));
}

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
        return mInitialized ? Exchange(function, message, timeoutMs, replies, last) : eErrorCommunications;
    }
    catch (const std::exception& e)
    {
        mLog.LogError("%s Transmit failed: %s", function, e.what());
        return eErrorCommunications;
    }
}

EError CRetryingLink::Exchange(const char* function, CIpcMessage& message, unsigned timeoutMs,
                               std::list<CIpcMessage>* replies, CIpcMessage& last)
{
    const bool sent = mClient->Send(message, timeoutMs);
    if (timeoutMs == 0)
    {
        if (message.HasFlag(eFlagRequest))
            mClient->Disconnect(); // its replies come all the same, and would answer the next message
        return sent ? eErrorNone : eErrorTimeout;
    }
    if (sent)
        return CollectReplies(function, message, timeoutMs, replies, last);
    mClient->Disconnect();
    return eErrorTimeout;
}

// However a process answers, this comes to an end, and with a bounded number of replies.
EError CRetryingLink::CollectReplies(const char* function, const CIpcMessage& message, unsigned timeoutMs,
                                     std::list<CIpcMessage>* replies, CIpcMessage& last)
{
    Clock::time_point deadline;
    unsigned waitMs = timeoutMs;
    for (unsigned count = 1; waitMs != 0 && mClient->Receive(last, waitMs); ++count)
    {
        const bool more = last.HasFlag(eFlagMoreFollows);
        last.SetFlag(eFlagMoreFollows, false);
        if (replies != nullptr)
            replies->push_back(last);
        EError error = NIpcMsgUtil::GetError(last);
        if (!more)
            return error;
        if (error == eErrorNone && count == kMaxReplies)
        {
            error = eErrorExceededListSize;
            mLog.LogError("%s: more than %u replies to %s; given up", function, kMaxReplies,
                          NIpcMsgUtil::GetFullCode(message).c_str());
        }
        if (error != eErrorNone)
        {
            mClient->Disconnect(); // nobody takes what follows
            return error;
        }
        if (count == 1)
            deadline = Clock::now() + std::chrono::milliseconds(timeoutMs) * kMaxWaits;
        waitMs = WaitUntil(deadline, timeoutMs);
    }
    if (waitMs == 0)
        mLog.LogError("%s: replies to %s do not end; given up", function,
                      NIpcMsgUtil::GetFullCode(message).c_str());
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
