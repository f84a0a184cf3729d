// One function for each receive state; then what becomes of a complete message.
#include "software/bp/serial/CVarnholtSerialParser.h"

#include "software/bp/serial/CCommPort.h"
#include "software/bp/serial/CEventLink.h"
#include "software/bp/serial/CSerialHandler.h"
#include "software/bp/serial/NAccess.h"
#include "software/bp/serial/NErrorText.h"
#include "software/bp/serial/NIpcMsgUtil.h"
#include "software/bp/serial/NSerialFormat.h"
#include "software/bp/serial/NSerialRouting.h"
#include "software/bp/serial/NSerialText.h"
#include "software/include/ILog.h"
#include "software/include/ILogIn.h"
#include "software/utility/NUtf8.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <list>

namespace
{
constexpr std::size_t kCodeSize = 3;    // characters
constexpr std::size_t kSubCodeSize = 4; // characters
constexpr std::size_t kMaxPrefix = 10;  // characters of a code in front of an error text

constexpr unsigned short kLastUnit = 1023;
constexpr unsigned short kThisUnit = 65534; // on the wire: whichever unit receives it

constexpr auto kThreeDigits = static_cast<EParmFlags>(eParmNumber | 3);
constexpr auto kFiveDigits = static_cast<EParmFlags>(eParmNumber | 5);

constexpr char kDefaultUser[] = "Default User";
constexpr char kKeyCode[] = "KEY";
constexpr char kErrorCode[] = "ERR";

constexpr char kAck = '$';
constexpr char kNak = '^';

// What a text must hold only behind a backslash; the double quote ends it, the backslash starts an escape.
constexpr std::string_view kOnlyEscaped = "()\x0A\x11\x13";
constexpr std::string_view kTextControls = "\"\\";

constexpr std::size_t kBytes = 256;

// Whether a byte of a text stands for itself.
constexpr std::array<bool, kBytes> MakePlain()
{
    std::array<bool, kBytes> plain{};
    for (bool& isPlain : plain)
        isPlain = true;
    for (const std::string_view set : {kOnlyEscaped, kTextControls})
    {
        for (const char c : set)
            plain[static_cast<unsigned char>(c)] = false;
    }
    return plain;
}
constexpr std::array<bool, kBytes> kPlain = MakePlain();

struct SErrorForm
{
    ELogLevel mLevel;
    const char* mCode;
    const char* mPrefix;
};
constexpr SErrorForm kErrorForms[] = {
    {ELogLevel::Error, kErrorCode, "System Error: "},
    {ELogLevel::Warning, kErrorCode, "System Warning: "},
    {ELogLevel::Fyi, "FYI", ""},
};
constexpr SErrorForm kPlainError = {ELogLevel::Normal, kErrorCode, ""}; // of every other level

SErrorForm GetErrorForm(ELogLevel level)
{
    const auto found = std::find_if(std::begin(kErrorForms), std::end(kErrorForms),
                                    [=](const SErrorForm& f) { return f.mLevel == level; });
    return found == std::end(kErrorForms) ? kPlainError : *found;
}

// A code that came from a noisy line may be anything; what goes out is text.
std::string MakeErrorPrefix(const CIpcMessage& message)
{
    std::string prefix = NIpcMsgUtil::GetFullCode(message) + ": ";
    prefix.resize(std::min(prefix.size(), kMaxPrefix));
    std::replace_if(
        prefix.begin(), prefix.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return prefix;
}

// White space and digits at the start of a prefix.
void SkipSpace(std::string_view& text)
{
    while (!text.empty() && NSerialText::IsSpace(text.front()))
        text.remove_prefix(1);
}

bool TakeAddress(std::string_view& text, int& address)
{
    const auto end = std::find_if_not(text.begin(), text.end(), NSerialText::IsDigit);
    const auto length = static_cast<std::size_t>(end - text.begin());
    address = NSerialText::ParseNumber(text.substr(0, length));
    text.remove_prefix(length);
    return length != 0;
}

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
    , mUser(kDefaultUser)
    , mInactivity(handler->GetClock())
    , mAlive(std::make_shared<bool>(true))
{
    mInactivity.HasTimerExpiredS(kLogInSeconds); // throws for a clock that wraps too early to tell
    mText.reserve(kMaxText);
    mLink->SetNotifyHandler([this](const CIpcMessage& notification) { HandleNotification(notification); });
}

CVarnholtSerialParser::~CVarnholtSerialParser()
{
    mLink->SetNotifyHandler({});
}

void CVarnholtSerialParser::UpdateAddress(int address) noexcept
{
    const bool isUnit = address >= 0 && address <= kLastUnit;
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
    if (mLogInRunning)
        return mRxResult;
    if (mRxState == ERxState::Complete)
        Enter(ERxState::Waiting);
    if (!HasInput() && !FillBuffer())
        return mRxResult;
    const unsigned char* at = mRxBuffer.data() + mRxRead;
    const unsigned char* const end = mRxBuffer.data() + mRxFilled;
    while (at != end && mRxResult == ERxResult::Busy)
    {
        if (mRxState == ERxState::Text)
            at = TakePlainText(at, end);
        else if (mRxState == ERxState::Number && mAccumulated != 0)
            at = TakeDigits(at, end);
        if (at != end)
            TakeByte(static_cast<char>(*at++));
    }
    mRxRead = static_cast<std::size_t>(at - mRxBuffer.data());
    return mRxResult;
}

// Digits and texts are most of a line. What just goes on in one is taken as a whole, as far as there is room;
// the byte behind it is for the states.
const unsigned char* CVarnholtSerialParser::TakeDigits(const unsigned char* at, const unsigned char* end)
{
    std::size_t count = mAccumulated;
    std::uint8_t sum = mChecksum;
    for (; at != end && count < kMaxAccumulated - 1 && NSerialText::IsDigit(static_cast<char>(*at)); ++at)
    {
        mAccumulator[count++] = static_cast<char>(*at);
        sum = static_cast<std::uint8_t>(sum + *at);
    }
    mAccumulated = count;
    mChecksum = sum;
    return at;
}

const unsigned char* CVarnholtSerialParser::TakePlainText(const unsigned char* at, const unsigned char* end)
{
    const unsigned char* const start = at;
    const unsigned char* const limit = std::min(end, at + (kMaxText - mText.size()));
    std::uint8_t sum = mChecksum;
    for (; at != limit && kPlain[*at]; ++at)
        sum = static_cast<std::uint8_t>(sum + *at);
    mText.append(reinterpret_cast<const char*>(start), static_cast<std::size_t>(at - start));
    mChecksum = sum;
    return at;
}

bool CVarnholtSerialParser::FillBuffer()
{
    const int count = mPort->Read(mRxBuffer.data(), static_cast<int>(mRxBuffer.size()));
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

void CVarnholtSerialParser::TakeByte(char byte)
{
    mChecksum = static_cast<std::uint8_t>(mChecksum + static_cast<unsigned char>(byte));
    switch (mRxState) // no default: the compiler names a state that nobody handles
    {
    case ERxState::Waiting:
    case ERxState::Complete: return OnWaiting(byte);
    case ERxState::Prefix: return OnPrefix(byte);
    case ERxState::Code: return OnCode(byte);
    case ERxState::SubCode: return OnSubCode(byte);
    case ERxState::Arguments: return OnParmStart(byte);
    case ERxState::Number: return OnNumber(byte);
    case ERxState::Text: return OnText(byte);
    case ERxState::Escape: return OnEscape(byte);
    case ERxState::HexHigh: return OnHexHigh(byte);
    case ERxState::HexLow: return OnHexLow(byte);
    }
}

void CVarnholtSerialParser::OnWaiting(char byte)
{
    if (byte == '(')
        StartMessage();
}

void CVarnholtSerialParser::OnPrefix(char byte)
{
    if (byte == '(')
        return StartMessage();
    if (byte == ')')
        return Enter(ERxState::Waiting);
    if (!NSerialText::IsLetter(byte))
        return Accumulate(byte);
    if (!ParsePrefix())
        return;
    mAccumulated = 0;
    Accumulate(NSerialText::ToUpper(byte));
    Enter(ERxState::Code);
}

void CVarnholtSerialParser::OnCode(char byte)
{
    if (byte == '(')
        return StartMessage();
    if (mAccumulated == kCodeSize)
    {
        mCode = FindSerialCode(GetAccumulated());
        mMessage.SetCode(GetAccumulated());
        mMessage.SetSubCode("");
        return OnParmStart(byte);
    }
    if (byte == ')')
        return Enter(ERxState::Waiting);
    Accumulate(NSerialText::ToUpper(byte));
}

void CVarnholtSerialParser::OnSubCode(char byte)
{
    if (byte == '(')
        return StartMessage();
    if (mAccumulated == kSubCodeSize)
    {
        mMessage.SetSubCode(GetAccumulated());
        return OnParmStart(byte);
    }
    if (byte == ')')
        return Enter(ERxState::Waiting);
    if (mAccumulated != 0 || !NSerialText::IsSpace(byte))
        Accumulate(NSerialText::ToUpper(byte));
}

void CVarnholtSerialParser::OnParmStart(char byte)
{
    const ERxState previous = mRxState;
    mAccumulated = 0;
    mModifier = 0;
    Enter(ERxState::Arguments);
    switch (byte)
    {
    case '!': return mMessage.SetFlag(eFlagReply);
    case '?': return mMessage.SetFlag(eFlagRequest);
    case '"': return StartText();
    case '(': return StartMessage();
    case ')': return RxdMessageComplete();
    case '+': return Enter(ERxState::SubCode);
    default: break;
    }
    if (NSerialText::IsSpace(byte))
    {
        mSeparated = true;
        return;
    }
    if (previous == ERxState::Code && !NSerialText::IsDigit(byte) && byte != '-')
        return SyntaxError("Invalid code", kNoValue);
    if (previous == ERxState::SubCode && !NSerialText::IsDigit(byte) && byte != '-')
        return SyntaxError("Invalid subcode", kNoValue);
    Enter(ERxState::Number);
    if (NSerialText::IsDigit(byte) || byte == '-')
        return AccumulateDigit(byte);
    mModifier = static_cast<unsigned char>(byte);
    mSeparated = false; // the number follows the modifier directly
}

void CVarnholtSerialParser::OnNumber(char byte)
{
    if (byte == '(')
        return StartMessage();
    if (NSerialText::IsDigit(byte) || byte == '-')
        return AccumulateDigit(byte);
    if (byte == '"' && mAccumulated == 0)
        return StartText();
    if (EndNumber())
        OnParmStart(byte);
}

void CVarnholtSerialParser::OnText(char byte)
{
    if (byte == '"')
        return EndText();
    if (byte == '\\')
        return Enter(ERxState::Escape);
    if (!kPlain[static_cast<unsigned char>(byte)])
        return SyntaxError("escape expected", static_cast<unsigned char>(byte));
    AppendText(byte);
}

void CVarnholtSerialParser::OnEscape(char byte)
{
    if (NSerialText::ToLower(byte) == 'h')
        return Enter(ERxState::HexHigh);
    Enter(ERxState::Text); // before AppendText, which drops the message when the text is full
    AppendText(NSerialText::Unescape(byte));
}

void CVarnholtSerialParser::OnHexHigh(char byte)
{
    mHexHigh = NSerialText::HexToBin(byte);
    Enter(ERxState::HexLow);
}

void CVarnholtSerialParser::OnHexLow(char byte)
{
    constexpr int kNibbleValues = 16;
    Enter(ERxState::Text);
    const int value = mHexHigh * kNibbleValues + NSerialText::HexToBin(byte);
    if (value != 0) // no text can hold it
        AppendText(static_cast<char>(value));
}

// Drops what there is of another message.
void CVarnholtSerialParser::StartMessage()
{
    mMessage.ClearArgs();
    mMessage.SetFlags(0);
    mMessage.SetDestination(CIpcMessage::kNoAddress);
    mMessage.SetSource(CIpcMessage::kNoAddress);
    mAccumulated = 0;
    mSeparated = false;
    mTextRefused = false;
    mChecksum = 0;
    mChecksumHere = 0;
    Enter(ERxState::Prefix);
}

void CVarnholtSerialParser::Accumulate(char byte)
{
    mAccumulator[mAccumulated++] = byte;
    if (mAccumulated == mAccumulator.size())
        SyntaxError("buffer overflow", static_cast<int>(mAccumulated));
}

void CVarnholtSerialParser::AccumulateDigit(char byte)
{
    if (mAccumulated == 0) // this may be the checksum, which does not count itself
        mChecksumHere = static_cast<std::uint8_t>(mChecksum - static_cast<unsigned char>(byte));
    Accumulate(byte);
}

// A number that nothing separates from what stands before it is marked, so that it is sent back the same way.
bool CVarnholtSerialParser::EndNumber()
{
    const std::string_view text = GetAccumulated();
    if (text.empty() && mModifier == 0) // a NUL is no letter
        return true;
    if (!CheckArgCount())
        return false;
    const std::size_t signs = !text.empty() && text.front() == '-' ? 1 : 0;
    // Without a digit and without a modifier nothing would be written for it, and what follows move up.
    const std::size_t least = mModifier == 0 ? 1 : 0;
    const std::size_t digits = std::clamp<std::size_t>(text.size() - signs, least, eParmWidthMask);
    const std::size_t count = mMessage.GetNumArgs();
    const bool isGlued = !mSeparated && (mModifier != 0 || count == 0);
    const unsigned kind = isGlued ? eParmNumber | eParmDelimiter : eParmNumber;
    mMessage.AddArg(static_cast<unsigned short>(count), NSerialText::ParseNumber(text),
                    static_cast<EParmFlags>(kind | digits), mModifier);
    mSeparated = false;
    return true;
}

void CVarnholtSerialParser::StartText()
{
    mText.clear();
    Enter(ERxState::Text);
}

void CVarnholtSerialParser::AppendText(char byte)
{
    if (mText.size() == kMaxText)
        return SyntaxError("text buffer overflow", kNoValue);
    mText += byte;
}

void CVarnholtSerialParser::EndText()
{
    if (!CheckArgCount())
        return;
    mTextRefused = mTextRefused || !NUtf8::IsStorable(mText);
    mMessage.AddArg(static_cast<unsigned short>(mMessage.GetNumArgs()), mText, mModifier);
    mSeparated = false;
    Enter(ERxState::Arguments);
}

bool CVarnholtSerialParser::CheckArgCount()
{
    const std::size_t count = mMessage.GetNumArgs();
    if (count < CIpcMessage::kMaxArgs)
        return true;
    SyntaxError("too many parms", static_cast<int>(count));
    return false;
}

bool CVarnholtSerialParser::ParsePrefix()
{
    std::string_view text = GetAccumulated();
    for (; !text.empty() && !NSerialText::IsDigit(text.front()); text.remove_prefix(1))
    {
        const char c = text.front();
        if (c == '$')
            mMessage.SetFlag(eFlagReplyWanted);
        else if (c == '#')
            mMessage.SetFlag(eFlagHash);
        else if (c == '&')
            mMessage.SetFlag(eFlagChecksum);
        else if (!NSerialText::IsSpace(c))
            break;
    }
    if (text.empty())
        mMessage.SetFlag(eFlagNotAddressed);
    else if (!ParseAddresses(text))
        return false;

    // Our own, or, for a unit without an address, anybody's.
    if (mMessage.HasFlag(eFlagNotAddressed) && mMessage.GetSource() == mAddress)
    {
        mMessage.SetFlag(eFlagNotAddressed, false);
        mMessage.SetDestination(mAddress);
    }
    return true;
}

bool CVarnholtSerialParser::ParseAddresses(std::string_view text)
{
    int destination = 0;
    if (!TakeAddress(text, destination))
    {
        SyntaxError("dest address missing", kNoValue);
        return false;
    }
    if (destination == CIpcMessage::kEveryUnit)
        mMessage.SetFlag(eFlagNotAddressed);
    else if (destination == kThisUnit)
        destination = mAddress;
    else if (destination > kLastUnit)
    {
        SyntaxError("dest address out of range", destination);
        return false;
    }
    mMessage.SetDestination(static_cast<unsigned short>(destination));
    SkipSpace(text);
    return text.empty() || ParseSource(text);
}

bool CVarnholtSerialParser::ParseSource(std::string_view text)
{
    int source = 0;
    const bool hasNumber = TakeAddress(text, source);
    SkipSpace(text);
    if (!hasNumber || !text.empty()) // a third address means nothing
    {
        SyntaxError("src address missing", kNoValue);
        return false;
    }
    if (source > kLastUnit)
    {
        SyntaxError("src address out of range", source);
        return false;
    }
    mMessage.SetSource(static_cast<unsigned short>(source));
    return true;
}

void CVarnholtSerialParser::SyntaxError(const std::string& text, int value)
{
    std::string line = "Syntax Error: " + text;
    if (value != kNoValue)
        line += ": " + std::to_string(value);
    mLog.LogWarning("%s", line.c_str());
    Enter(ERxState::Waiting);
    mRxResult = ERxResult::SyntaxError;
    SendErrorBroadcast(ELogLevel::Normal, eErrorSerialReceive, line);
}

// --- Complete messages -------------------------------------------------------------------------------------

void CVarnholtSerialParser::RxdMessageComplete()
{
    if (mMessage.HasFlag(eFlagChecksum) && !TakeChecksum())
        return;
    Enter(ERxState::Complete);
    mRxResult = ERxResult::Complete; // before it is handled: a port may fail meanwhile
    RxdPreProcessMsg();
    if (mMessage.HasFlag(eFlagNotAddressed) || mMessage.GetDestination() == mAddress)
        RxdProcessMsg();
}

bool CVarnholtSerialParser::TakeChecksum()
{
    const std::size_t count = mMessage.GetNumArgs();
    const auto last = static_cast<unsigned short>(count - 1);
    int received = 0;
    if (count == 0)
        SyntaxError("no checksum", kNoValue);
    else if (!mMessage.IsNumberArg(last))
        SyntaxError("checksum not a number", kNoValue);
    else if (mMessage.GetArg(last, received) && received != mChecksumHere)
        SyntaxError("checksum failed", received);
    else
    {
        mMessage.RemoveArg(last);
        return true;
    }
    return false;
}

// Passes on what may be for others. A text that nobody may store goes nowhere.
void CVarnholtSerialParser::RxdPreProcessMsg()
{
    const bool isForUsAlone = !mMessage.HasFlag(eFlagNotAddressed) && mMessage.GetDestination() == mAddress;
    if (isForUsAlone || mTextRefused || mCode == ESerialCode::LogIn)
        return;
    const unsigned char targets = NSerialRouting::GetTargets(mRouting, mPort->GetNumber());
    if (targets == 0)
        return;
    const int length = Send(targets, &mMessage);
    mHandler->RelayMessage(this, reinterpret_cast<const unsigned char*>(mTxBuffer.data()), length, targets);
}

void CVarnholtSerialParser::RxdProcessMsg()
{
    EndIdleLogIn();
    if (mAccessGroup != mDefaultAccessGroup)
        mInactivity.ArmTimer();
    mAckWanted = mMessage.HasFlag(eFlagReplyWanted);
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
    if (mMessage.HasFlag(eFlagReply) && !mMessage.HasFlag(eFlagRequest))
        return ExtReply(&mMessage);
    if (mTextRefused)
    {
        SendSerialError(eErrorInvalidValue, "");
        return false;
    }
    return mMessage.HasFlag(eFlagRequest) ? ExtRequest(&mMessage) : ExtCommand(&mMessage);
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
    const EError error = mLink->SendCommand(mAccessGroup, *command, reply, CEventLink::kDefaultTimeoutMs);
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
    const EError error = mLink->SendRequest(mAccessGroup, *request, replies, CEventLink::kDefaultTimeoutMs);
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
    const EError error = mLink->SendCommand(mAccessGroup, request, reply, CEventLink::kDefaultTimeoutMs);
    if (error == eErrorNone)
    {
        KeepRegistrations(message);
        return true;
    }
    const std::string text = NIpcMsgUtil::GetErrorText(reply);
    SendSerialError(eErrorInvalidParameter, text.empty() ? NErrorText::GetErrorString(error) : text);
    return false;
}

// Remembers what the line registered, for the day when its log-in ends.
void CVarnholtSerialParser::KeepRegistrations(const CIpcMessage& message)
{
    unsigned short key = 0;
    std::string code;
    for (bool more = message.GetFirstArg(key, code); more; more = message.GetNextArg(key, code))
    {
        unsigned char modifier = 0;
        message.GetModifier(key, modifier);
        if (modifier == eIpcUnregister && code == NIpcMsgUtil::kEveryCode)
            mRegistered.clear();
        else if (!NIpcMsgUtil::IsCarriedCode(code))
            continue;
        else if (modifier != eIpcUnregister)
            ++mRegistered[code];
        else if (const auto entry = mRegistered.find(code);
                 entry != mRegistered.end() && --entry->second == 0)
            mRegistered.erase(entry);
    }
}

// Registers anew as the present caller, which leaves the protected controls out.
void CVarnholtSerialParser::RenewRegistrations()
{
    if (mRegistered.empty())
        return;
    mLink->NotifyUnregisterAll(mLink->GetNotifySocketName());
    for (auto& [code, count] : mRegistered)
    {
        mLink->NotifyRegister(mAccessGroup, code);
        count = 1;
    }
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
    std::string name;
    NUtf8::AppendPrintable(name, user);
    if (success)
    {
        mLog.Log("Serial port %s: %s logged in with level %d", mPort->GetName().c_str(), name.c_str(),
                 static_cast<int>(result.mLevel));
        mUser = user;
        SetAccessGroup(result.mLevel);
        mInactivity.ArmTimer();
        CIpcMessage reply(mMessage);
        reply.ClearArgs();
        reply.AddArg(0, result.mLevel, kThreeDigits);
        SendReply(reply);
    }
    else
    {
        mLog.LogWarning("Serial port %s: log-in of %s failed", mPort->GetName().c_str(), name.c_str());
        SendSerialError(eErrorAccessGroup, "Invalid user name or password");
    }
    mMessage.ClearArgs(); // the password
    Acknowledge(success);
    mHandler->Wake(); // the line goes on
}

void CVarnholtSerialParser::SetAccessGroup(int group)
{
    const bool sawProtected = NAccess::IsAllowed(eAccessProtected, static_cast<EAccessLevel>(mAccessGroup));
    mAccessGroup = group;
    if (sawProtected && !NAccess::IsAllowed(eAccessProtected, static_cast<EAccessLevel>(group)))
        RenewRegistrations();
}

void CVarnholtSerialParser::SetDefaultAccessGroup(int group)
{
    if (mAccessGroup == mDefaultAccessGroup)
        SetAccessGroup(group);
    mDefaultAccessGroup = group;
}

void CVarnholtSerialParser::EndIdleLogIn()
{
    constexpr std::uint64_t kMsPerS = 1000;
    if (mAccessGroup == mDefaultAccessGroup || mInactivity.GetElapsedMs() <= kLogInSeconds * kMsPerS)
        return;
    std::string name;
    NUtf8::AppendPrintable(name, mUser);
    mLog.Log("Serial port %s: %s logged out after %u s without a message", mPort->GetName().c_str(),
             name.c_str(), kLogInSeconds);
    mUser = kDefaultUser;
    SetAccessGroup(mDefaultAccessGroup);
}

// --- Sending -----------------------------------------------------------------------------------------------

int CVarnholtSerialParser::Send(unsigned char portMask, const CIpcMessage* message)
{
    NSerialFormat::Format(*message, mTxBuffer);
    const int length = static_cast<int>(mTxBuffer.size());
    if ((portMask & NSerialRouting::kOwnPort) != 0)
        Output("send", [&]
               { return mPort->Write(reinterpret_cast<const unsigned char*>(mTxBuffer.data()), length); });
    return length;
}

// An answer to the message that is being handled, back to where that came from.
void CVarnholtSerialParser::SendReply(CIpcMessage& reply)
{
    reply.SetFlags(eFlagReply | (mMessage.GetFlags() & (eFlagChecksum | eFlagHash)));
    reply.SetSource(mAddress);
    reply.SetDestination(mMessage.GetSource());
    Send(NSerialRouting::kOwnPort, &reply);
}

void CVarnholtSerialParser::SendError(ELogLevel level, EError code, const std::string& text,
                                      const CIpcMessage* cause)
{
    const SErrorForm form = GetErrorForm(level);
    CIpcMessage error;
    error.SetCode(form.mCode);
    error.SetSubCode("");
    error.AddArg(0, static_cast<int>(code), kFiveDigits);
    error.AddArg(1, form.mPrefix + text);
    error.SetSource(mAddress);
    error.SetDestination(CIpcMessage::kEveryUnit);
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
    SendError(ELogLevel::Normal, code, MakeErrorPrefix(mMessage) + reason, &mMessage);
}

ERxResult CVarnholtSerialParser::ProcessErrors(const std::string& text, ELogLevel level, EFyiCode code)
{
    SendError(level, static_cast<EError>(code), text, nullptr);
    return mRxResult;
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
    Output("send", [&] { return mPort->WriteChar(kAck); });
}

void CVarnholtSerialParser::SendNak()
{
    Output("send", [&] { return mPort->WriteChar(kNak); });
}

void CVarnholtSerialParser::RelayMessage(const unsigned char* bytes, int length)
{
    if (length > 0)
        Output("relay", [&] { return mPort->Write(bytes, length); });
}

void CVarnholtSerialParser::FlushOutput()
{
    Output("send",
           [&]
           {
               mPort->Flush();
               return !mLosesOutput;
           });
}

// A port that takes nothing loses what is written to it, for the loop can not wait. Said once.
template <typename TWrite>
void CVarnholtSerialParser::Output(const char* what, TWrite write)
{
    if (IsClosed())
        return;
    try
    {
        const bool isTaken = write();
        if (!isTaken && !mLosesOutput)
            mLog.LogWarning("Serial port %s takes no output: what is sent now is lost",
                            mPort->GetName().c_str());
        mLosesOutput = !isTaken;
    }
    catch (const std::exception& e)
    {
        mLog.LogError("Parser %s failure - parser will be closed. %s", what, e.what());
        mRxResult = ERxResult::Closed;
    }
}
