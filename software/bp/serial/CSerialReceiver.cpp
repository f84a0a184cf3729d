// One function for each receive state; each takes what just goes on in it in one go.
#include "software/bp/serial/CSerialReceiver.h"

#include "software/bp/serial/NSerialPrefix.h"
#include "software/bp/serial/NSerialText.h"
#include "software/utility/NUtf8.h"

#include <algorithm>
#include <numeric>

namespace
{
constexpr std::size_t kCodeSize = 3;    // characters
constexpr std::size_t kSubCodeSize = 4; // characters
// Digits of a number that is taken where it arrived, and one character behind them.
constexpr std::ptrdiff_t kMaxWhole = CIpcMessage::kMaxDigits + 1;

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

// The letters of a code in upper case; 0 for a bracket.
constexpr std::array<char, kBytes> MakeLetters()
{
    std::array<char, kBytes> letters{};
    for (std::size_t i = 0; i < kBytes; ++i)
        letters[i] = NSerialText::ToUpper(static_cast<char>(i));
    letters['('] = letters[')'] = 0;
    return letters;
}
constexpr std::array<char, kBytes> kLetters = MakeLetters();

bool IsBracket(char c)
{
    return c == '(' || c == ')';
}

bool IsPlain(char c)
{
    return kPlain[static_cast<unsigned char>(c)];
}

bool IsOfNumber(char c)
{
    return NSerialText::IsDigit(c) || c == '-';
}
} // namespace

CSerialReceiver::CSerialReceiver(const unsigned short& ownAddress)
    : mOwnAddress(ownAddress)
{
    mText.reserve(kMaxText);
}

ERxResult CSerialReceiver::Take(const char*& at, const char* end)
{
    mResult = ERxResult::Busy;
    mSumFrom = at;
    while (at != end && mResult == ERxResult::Busy)
        at = TakeSome(at, end);
    SumUpTo(at);
    return mResult;
}

const char* CSerialReceiver::TakeSome(const char* at, const char* end)
{
    switch (mState) // no default: the compiler names a state that nobody handles
    {
    case EState::Waiting: return OnWaiting(at, end);
    case EState::Prefix: return OnPrefix(at, end);
    case EState::Code: return OnCode(at, end);
    case EState::SubCode: return OnSubCode(at, end);
    case EState::Arguments: return OnParmStart(at, end);
    case EState::Modifier: return OnModifier(at, end);
    case EState::Number: return OnNumber(at, end);
    case EState::Text: return OnText(at, end);
    case EState::Escape: return OnEscape(at);
    case EState::HexHigh: return OnHexHigh(at);
    case EState::HexLow: return OnHexLow(at);
    }
    return end;
}

const char* CSerialReceiver::OnWaiting(const char* at, const char* end)
{
    at = std::find(at, end, '(');
    if (at == end)
        return at;
    at = StartMessage(at);
    return at == end ? at : OnPrefix(at, end);
}

const char* CSerialReceiver::OnPrefix(const char* at, const char* end)
{
    for (; at != end && !NSerialText::IsLetter(*at); ++at)
    {
        if (*at == '(')
            return StartMessage(at);
        if (*at == ')')
            return Drop(at);
        Accumulate(*at);
        if (mAccumulated == kMaxAccumulated)
            return Fail(at, "buffer overflow", kMaxAccumulated);
    }
    if (at == end)
        return at;
    SSyntaxError error;
    if (!NSerialPrefix::Parse(GetAccumulated(), mOwnAddress, mMessage, error))
        return Fail(at, error.mText, error.mValue);
    mIsSummed = mMessage.HasFlag(eFlagChecksum);
    mAccumulated = 0;
    Enter(EState::Code);
    return OnCode(at, end);
}

// Takes the letters of a code or sub-code; a bracket breaks it off.
const char* CSerialReceiver::TakeLetters(const char* at, const char* end, std::size_t size)
{
    std::size_t count = mAccumulated;
    for (; at != end && count != size; ++at)
    {
        const char letter = kLetters[static_cast<unsigned char>(*at)];
        if (letter == 0 && IsBracket(*at))
            break;
        mAccumulator[count++] = letter;
    }
    mAccumulated = count;
    if (at == end || count == size)
        return at;
    return *at == '(' ? StartMessage(at) : Drop(at);
}

const char* CSerialReceiver::OnCode(const char* at, const char* end)
{
    at = TakeLetters(at, end, kCodeSize);
    if (at == end || mState != EState::Code)
        return at;
    mMessage.SetCode(GetAccumulated());
    mMessage.SetSubCode("");
    return OnParmStart(at, end, "Invalid code");
}

const char* CSerialReceiver::OnSubCode(const char* at, const char* end)
{
    while (at != end && mAccumulated == 0 && NSerialText::IsSpace(*at))
        ++at;
    at = TakeLetters(at, end, kSubCodeSize);
    if (at == end || mState != EState::SubCode)
        return at;
    mMessage.SetSubCode(GetAccumulated());
    return OnParmStart(at, end, "Invalid subcode");
}

const char* CSerialReceiver::OnParmStart(const char* at, const char* end, const char* refusal)
{
    mAccumulated = 0;
    mModifier = 0;
    Enter(EState::Arguments);
    for (; at != end; ++at)
    {
        if (IsOfNumber(*at))
            return StartNumber(at, end);
        switch (*at)
        {
        case ' ': mSeparated = true; break;
        case '!': mMessage.SetFlag(eFlagReply); break;
        case '?': mMessage.SetFlag(eFlagRequest); break;
        case '"': return StartText(at);
        case '(': return StartMessage(at);
        case ')': return EndMessage(at);
        case '+': Enter(EState::SubCode); return at + 1;
        default:
            if (!NSerialText::IsSpace(*at))
                return refusal == nullptr ? StartModifier(at) : Fail(at, refusal);
            mSeparated = true;
        }
        refusal = nullptr;
    }
    return at;
}

const char* CSerialReceiver::StartModifier(const char* letter) noexcept
{
    mModifier = static_cast<unsigned char>(*letter);
    mSeparated = false; // the number follows the modifier directly
    Enter(EState::Modifier);
    return letter + 1;
}

// This may be the checksum, which does not count itself. A number that arrived as a whole is taken where it
// is.
const char* CSerialReceiver::StartNumber(const char* at, const char* end)
{
    SumUpTo(at);
    mChecksumHere = mChecksum;
    Enter(EState::Number);
    const char* const digits = *at == '-' ? at + 1 : at;
    const char* const limit = digits + std::min(end - digits, kMaxWhole);
    const char* behind = digits;
    while (behind != limit && NSerialText::IsDigit(*behind))
        ++behind;
    if (behind == limit || behind == digits || *behind == '-')
        return OnNumber(at, end);
    if (*behind == '(')
        return StartMessage(behind);
    if (!CheckArgCount())
        return behind + 1;
    mMessage.AddDecimal(GetNextKey(), {at, static_cast<std::size_t>(behind - at)},
                        GetNumberFlags(static_cast<std::size_t>(behind - digits)), mModifier);
    mSeparated = false;
    return OnParmStart(behind, end);
}

const char* CSerialReceiver::OnNumber(const char* at, const char* end)
{
    for (; at != end && IsOfNumber(*at); ++at)
    {
        Accumulate(*at);
        if (mAccumulated == kMaxAccumulated)
            return Fail(at, "buffer overflow", kMaxAccumulated);
    }
    if (at == end)
        return at;
    if (*at == '(')
        return StartMessage(at);
    return AddNumber() ? OnParmStart(at, end) : at + 1;
}

const char* CSerialReceiver::OnModifier(const char* at, const char* end)
{
    if (*at == '"')
        return StartText(at);
    return IsOfNumber(*at) ? StartNumber(at, end) : OnNumber(at, end);
}

const char* CSerialReceiver::OnText(const char* at, const char* end)
{
    const auto left = static_cast<std::size_t>(end - at);
    const char* const limit = at + std::min(left, kMaxText - mText.size());
    const char* const start = at;
    at = std::find_if_not(at, limit, IsPlain);
    const std::string_view taken(start, static_cast<std::size_t>(at - start));
    if (mText.empty() && at != end && *at == '"') // it arrived as a whole
        return EndText(taken, at);
    mText.append(taken);
    if (at == end)
        return at;
    if (*at == '"')
        return EndText(mText, at);
    if (*at == '\\')
    {
        Enter(EState::Escape);
        return at + 1;
    }
    if (!IsPlain(*at))
        return Fail(at, "escape expected", static_cast<unsigned char>(*at));
    return AppendText(at, *at); // there is no room for it
}

const char* CSerialReceiver::OnEscape(const char* at)
{
    if (NSerialText::ToLower(*at) == 'h')
    {
        Enter(EState::HexHigh);
        return at + 1;
    }
    Enter(EState::Text);
    return AppendText(at, NSerialText::Unescape(*at));
}

const char* CSerialReceiver::OnHexHigh(const char* at)
{
    mHexHigh = NSerialText::HexToBin(*at);
    Enter(EState::HexLow);
    return at + 1;
}

const char* CSerialReceiver::OnHexLow(const char* at)
{
    constexpr int kNibbleValues = 16;
    Enter(EState::Text);
    const int value = mHexHigh * kNibbleValues + NSerialText::HexToBin(*at);
    return value == 0 ? at + 1 : AppendText(at, static_cast<char>(value)); // no text can hold a zero
}

// Drops what there is of another message.
const char* CSerialReceiver::StartMessage(const char* bracket)
{
    mMessage.ClearArgs();
    mMessage.SetFlags(0);
    mMessage.SetDestination(CIpcMessage::kNoAddress);
    mMessage.SetSource(CIpcMessage::kNoAddress);
    mAccumulated = 0;
    mSeparated = false;
    mTextRefused = false;
    mIsSummed = true;
    mChecksum = 0;
    mChecksumHere = 0;
    mSumFrom = bracket + 1;
    Enter(EState::Prefix);
    return bracket + 1;
}

const char* CSerialReceiver::Drop(const char* bracket) noexcept
{
    Enter(EState::Waiting);
    return bracket + 1;
}

const char* CSerialReceiver::EndMessage(const char* bracket)
{
    if (mMessage.HasFlag(eFlagChecksum) && !TakeChecksum())
        return bracket + 1;
    Enter(EState::Waiting);
    mResult = ERxResult::Complete;
    return bracket + 1;
}

const char* CSerialReceiver::StartText(const char* quote)
{
    mText.clear();
    Enter(EState::Text);
    return quote + 1;
}

const char* CSerialReceiver::EndText(std::string_view text, const char* quote)
{
    if (!CheckArgCount())
        return quote + 1;
    mTextRefused = mTextRefused || !NUtf8::IsStorable(text);
    mMessage.AddArg(GetNextKey(), text, mModifier);
    mSeparated = false;
    Enter(EState::Arguments);
    return quote + 1;
}

const char* CSerialReceiver::AppendText(const char* at, char byte)
{
    if (mText.size() == kMaxText)
        return Fail(at, "text buffer overflow");
    mText += byte;
    return at + 1;
}

bool CSerialReceiver::AddNumber()
{
    const std::string_view text = GetAccumulated();
    if (text.empty() && mModifier == 0) // a NUL is no letter
        return true;
    if (!CheckArgCount())
        return false;
    const std::size_t signs = !text.empty() && text.front() == '-' ? 1 : 0;
    mMessage.AddArg(GetNextKey(), NSerialText::ParseNumber(text), GetNumberFlags(text.size() - signs),
                    mModifier);
    mSeparated = false;
    return true;
}

// A number that nothing separates from what stands before it is marked, so that it is sent back the same way.
EParmFlags CSerialReceiver::GetNumberFlags(std::size_t digits) const noexcept
{
    // Without a digit and without a modifier nothing would be written for it, and what follows move up.
    const std::size_t least = mModifier == 0 ? 1 : 0;
    const bool isGlued = !mSeparated && (mModifier != 0 || mMessage.GetNumArgs() == 0);
    const unsigned kind = isGlued ? eParmNumber | eParmDelimiter : eParmNumber;
    return static_cast<EParmFlags>(kind | std::clamp<std::size_t>(digits, least, eParmWidthMask));
}

bool CSerialReceiver::CheckArgCount()
{
    const std::size_t count = mMessage.GetNumArgs();
    if (count < CIpcMessage::kMaxArgs)
        return true;
    return Refuse("too many parms", static_cast<int>(count));
}

bool CSerialReceiver::TakeChecksum()
{
    const std::size_t count = mMessage.GetNumArgs();
    const auto last = static_cast<unsigned short>(count - 1);
    int received = 0;
    if (count == 0)
        return Refuse("no checksum");
    if (!mMessage.IsNumberArg(last))
        return Refuse("checksum not a number");
    if (mMessage.GetArg(last, received) && received != mChecksumHere)
        return Refuse("checksum failed", received);
    mMessage.RemoveArg(last);
    return true;
}

// Nobody asks for the sum of a message without a checksum.
void CSerialReceiver::SumUpTo(const char* at) noexcept
{
    if (mIsSummed)
        mChecksum = std::accumulate(mSumFrom, at, mChecksum,
                                    [](std::uint8_t sum, char c) {
                                        return static_cast<std::uint8_t>(sum + static_cast<unsigned char>(c));
                                    });
    mSumFrom = at;
}

bool CSerialReceiver::Refuse(const char* text, int value) noexcept
{
    mError = {text, value};
    mResult = ERxResult::SyntaxError;
    Enter(EState::Waiting);
    return false;
}

const char* CSerialReceiver::Fail(const char* at, const char* text, int value) noexcept
{
    Refuse(text, value);
    return at + 1;
}
