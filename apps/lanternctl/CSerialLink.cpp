// An exchange ends at its acknowledgement.
#include "apps/lanternctl/CSerialLink.h"

#include "apps/lanternctl/CCommandFailure.h"
#include "apps/lanternctl/NSerialReply.h"
#include "software/bp/serial/NIpcMsgUtil.h"
#include "software/bp/serial/NSerialFormat.h"
#include "software/utility/CIpcMessage.h"

#include <algorithm>
#include <cstddef>
#include <unistd.h>

namespace
{
constexpr unsigned short kUnitAddresses = 1024; // 0 to 1023
constexpr unsigned short kThisUnit = 65534;     // whichever unit receives it
constexpr char kErrorCode[] = "ERR";
constexpr char kLogInCode[] = "UID";
constexpr unsigned char kEnabledModifier = 'E';
constexpr std::size_t kMaxReplies = 4096;     // to one message
constexpr std::size_t kMaxChanges = 10'000;   // that wait while an answer is awaited
constexpr std::size_t kCodesPerMessage = 100; // what surely fits

CIpcMessage MakeRegistration()
{
    CIpcMessage message;
    message.SetCode(NIpcMsgUtil::kRegistrationCode);
    message.SetSubCode("");
    return message;
}

CIpcMessage MakeUnregisterAll()
{
    CIpcMessage message = MakeRegistration();
    message.AddArg(0, NIpcMsgUtil::kEveryCode, eIpcUnregister);
    return message;
}

bool StartsWith(const std::string& text, const std::string& start)
{
    return text.compare(0, start.size(), start) == 0;
}
} // namespace

CSerialLink::CSerialLink(const std::string& description, std::chrono::milliseconds timeout)
    : mTimeout(timeout)
    , mAddress(static_cast<unsigned short>(getpid() % kUnitAddresses))
    , mLine(description, timeout)
{
}

CSerialLink::~CSerialLink()
{
    if (mWatched.empty())
        return;
    try
    {
        CIpcMessage farewell = MakeUnregisterAll();
        Send(farewell);
    }
    catch (const CCommandFailure&) // the line is lost, and the registrations with it
    {
    }
}

void CSerialLink::LogIn(const std::string& user, const std::string& password)
{
    CIpcMessage message;
    message.SetCode(kLogInCode);
    message.SetSubCode("");
    message.AddArg(0, user);
    message.AddArg(1, password);
    std::list<CIpcMessage> replies;
    if (const Refusal refusal = Exchange(message, replies, std::max(mTimeout, NWait::kLogInPatience)))
        FailRefused("log-in of " + user, *refusal);
}

// The state of the controls comes before the acknowledgement; a line tells of it the value alone.
void CSerialLink::Watch(const std::vector<std::string>& codes)
{
    CIpcMessage forget = MakeUnregisterAll(); // what an earlier client left
    std::list<CIpcMessage> none;
    if (const Refusal refusal = Exchange(forget, none))
        FailRefused(NIpcMsgUtil::kRegistrationCode, *refusal);
    mWatched.insert(codes.begin(), codes.end());
    GetChanges().clear();
    for (auto next = codes.begin(); next != codes.end();)
    {
        const auto count = std::min<std::ptrdiff_t>(kCodesPerMessage, codes.end() - next);
        if (const Refusal refusal = Register({next, next + count}))
            FailRefused(NIpcMsgUtil::kRegistrationCode, *refusal);
        next += count;
    }
    const std::size_t states = GetChanges().size(); // changes that come meanwhile stand behind them
    for (std::size_t i = 0; i < states; ++i)
    {
        Json::Value state = GetChanges()[i];
        AddFact(state, state["code"].asString(), kEnabledModifier);
        GetChanges()[i] = state;
    }
}

CMessageLink::Refusal CSerialLink::Register(const std::vector<std::string>& codes)
{
    CIpcMessage message = MakeRegistration();
    unsigned short key = 0;
    for (const std::string& code : codes)
        message.AddArg(key++, code, eIpcRegisterSendNow);
    std::list<CIpcMessage> none;
    return Exchange(message, none);
}

CMessageLink::Refusal CSerialLink::Request(CIpcMessage& request, std::list<CIpcMessage>& replies)
{
    request.SetFlag(eFlagRequest);
    return Exchange(request, replies);
}

CMessageLink::Refusal CSerialLink::Command(CIpcMessage& command, CIpcMessage& reply)
{
    std::list<CIpcMessage> replies;
    Refusal refusal = Exchange(command, replies);
    if (!replies.empty())
        reply = replies.back();
    return refusal;
}

void CSerialLink::Send(CIpcMessage& message)
{
    message.SetFlag(eFlagChecksum);
    message.SetFlag(eFlagReplyWanted);
    message.SetDestination(kThisUnit);
    message.SetSource(mAddress);
    std::string line;
    NSerialFormat::Format(message, line);
    mLine.Send(line);
}

// The next thing that the line says. @param timeout  what the deadline was made of
std::string CSerialLink::Await(const NWait::Deadline& deadline, std::chrono::milliseconds timeout)
{
    for (;;)
    {
        if (const auto item = mLine.GetReader().Next())
            return *item;
        if (mLine.Receive(deadline, NWait::kNoDescriptor) == EWait::Elapsed)
            NWait::FailNoAnswer(mLine.GetName(), timeout);
    }
}

CMessageLink::Refusal CSerialLink::Exchange(CIpcMessage& message, std::list<CIpcMessage>& replies)
{
    return Exchange(message, replies, mTimeout);
}

CMessageLink::Refusal CSerialLink::Exchange(CIpcMessage& message, std::list<CIpcMessage>& replies,
                                            std::chrono::milliseconds timeout)
{
    Send(message);
    const std::string errorPrefix = NIpcMsgUtil::GetFullCode(message) + ": ";
    NWait::Deadline deadline = NWait::After(timeout);
    Refusal refusal;
    for (;;)
    {
        const std::string item = Await(deadline, timeout);
        const bool isAck = item.front() == CSerialReader::kAck;
        if (isAck || item.front() == CSerialReader::kNak)
        {
            if (refusal)
                return refusal;
            // Without the answer it belongs to what an earlier client asked, or the answer was damaged.
            if (isAck && (!message.HasFlag(eFlagRequest) || !replies.empty()))
                return std::nullopt;
            continue;
        }
        CIpcMessage received;
        if (!NSerialReply::Parse(item, received))
            continue;
        if (received.GetCode() == kErrorCode)
        {
            int error = 0;
            std::string text;
            received.GetArg(0, error);
            received.GetArg(1, text);
            if (error == eErrorSerialReceive) // no acknowledgement follows: it was never understood
                return SRefusal{eErrorSerialReceive, text};
            if (StartsWith(text, errorPrefix))
                refusal = SRefusal{static_cast<EError>(error), text.substr(errorPrefix.size())};
        }
        else if (!IsReplyTo(message, received))
            TakeAside(received);
        else if (replies.size() == kMaxReplies)
            NWait::FailConnection(mLine.GetName() + " answers without end");
        else
        {
            replies.push_back(received);
            timeout = mTimeout;
            deadline = NWait::After(timeout);
        }
    }
}

bool CSerialLink::IsReplyTo(const CIpcMessage& message, const CIpcMessage& received) const
{
    return received.HasFlag(eFlagReply) && received.HasFlag(eFlagChecksum) &&
           received.GetDestination() == mAddress &&
           NIpcMsgUtil::GetFullCode(received) == NIpcMsgUtil::GetFullCode(message);
}

// A change of a watched control, if it is one.
void CSerialLink::TakeAside(const CIpcMessage& received)
{
    const bool isNotification = received.GetFlags() == eFlagReply &&
                                received.GetDestination() == CIpcMessage::kNoAddress &&
                                received.GetNumArgs() != 0;
    if (!isNotification || mWatched.count(NIpcMsgUtil::GetFullCode(received)) == 0)
        return;
    if (GetChanges().size() == kMaxChanges)
        NWait::FailConnection(mLine.GetName() + " announces changes faster than it answers");
    TakeNotification(received);
}

IProjectorLink::EWait CSerialLink::Receive(const NWait::Deadline& deadline, int interrupt)
{
    const EWait wait = mLine.Receive(deadline, interrupt);
    while (const auto item = mLine.GetReader().Next())
    {
        CIpcMessage received;
        if (NSerialReply::Parse(*item, received))
            TakeAside(received);
    }
    return wait;
}
