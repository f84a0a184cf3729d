// Little-endian wire form: a header of 24 bytes, then the arguments without gaps.
#include "software/utility/CIpcMessage.h"

#include "software/utility/CByteReader.h"
#include "software/utility/CByteWriter.h"
#include "software/utility/CException.h"
#include "software/utility/NByteOrder.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace
{
constexpr char kSource[] = "software/utility/CIpcMessage";

constexpr std::size_t kCodeSize = 3;                                        // characters
constexpr std::size_t kSubCodeSize = 4;                                     // characters
constexpr std::size_t kMinDigits = 3;                                       // display width of a number
constexpr std::size_t kFirstArgs = 4;                                       // that get room at once
constexpr std::size_t kFirstTexts = 64;                                     // bytes of their values
constexpr std::size_t kMaxDecimal = std::numeric_limits<int>::digits10 + 2; // digits and a sign

// Offsets in the header that a receiver needs before it reads the header as a whole.
constexpr std::size_t kMagicSize = 2;
constexpr std::size_t kLengthOffset = 22;

constexpr std::size_t kArgHeaderSize = 4;                 // flags, modifier and key in front of the text
constexpr std::size_t kArgExtraSize = kArgHeaderSize + 1; // and the zero byte behind it

std::string Unpack(std::uint32_t field, std::size_t size)
{
    char text[sizeof field];
    for (std::size_t i = 0; i < size; ++i)
        text[i] = static_cast<char>((field >> (8 * (size - 1 - i))) & 0xFF);
    return std::string(text, size);
}

bool ParseNumber(std::string_view text, int& value)
{
    const char* end = text.data() + text.size();
    int number = 0;
    const auto result = std::from_chars(text.data(), end, number);
    if (result.ec != std::errc() || result.ptr != end)
        return false;
    value = number;
    return true;
}
} // namespace

CIpcMessage::CIpcMessage(EMessageType type)
{
    mHeader.mType = type;
    mHeader.mCode = PackCode("!!!");
    mHeader.mSubCode = PackCode("!!!!");
}

CIpcMessage::CIpcMessage(const CIpcMessage& other)
    : mHeader(other.mHeader)
    , mArgs(other.mArgs)
    , mTexts(other.mTexts)
    , mTextsFilled(other.mTextsFilled)
    , mSource(other.mSource)
    , mDestination(other.mDestination)
    , mSender(other.mSender)
{
}

CIpcMessage& CIpcMessage::operator=(const CIpcMessage& other)
{
    if (this != &other)
        *this = CIpcMessage(other);
    return *this;
}

void CIpcMessage::SetCode(std::string_view code)
{
    if (code.size() != kCodeSize)
        throw CException(__func__, kSource, __LINE__, false, "Invalid code %s", std::string(code).c_str());
    mHeader.mCode = PackCode(code);
}

std::string CIpcMessage::GetCode() const
{
    return Unpack(mHeader.mCode, kCodeSize);
}

void CIpcMessage::SetSubCode(std::string_view subCode)
{
    if (!subCode.empty() && subCode.size() != kSubCodeSize)
        throw CException(__func__, kSource, __LINE__, false, "Invalid subcode %s",
                         std::string(subCode).c_str());
    mHeader.mSubCode = PackCode(subCode);
}

std::string CIpcMessage::GetSubCode() const
{
    return mHeader.mSubCode == 0 ? std::string() : Unpack(mHeader.mSubCode, kSubCodeSize);
}

void CIpcMessage::CopyHeader(const CIpcMessage& other)
{
    mHeader = other.mHeader;
    mSender = other.mSender;
}

void CIpcMessage::AddArg(unsigned short key, int value, EParmFlags flags, unsigned char modifier)
{
    CheckRoom(key);
    char* const text = MakeTextRoom(kMaxDecimal);
    const auto length = static_cast<std::size_t>(std::to_chars(text, text + kMaxDecimal, value).ptr - text);
    const std::size_t digits = length - (value < 0 ? 1 : 0);
    if (flags == eParmText)
        flags = static_cast<EParmFlags>(eParmNumber | std::max(digits, kMinDigits));
    PutValue(key, length, flags, modifier);
}

void CIpcMessage::AddDecimal(unsigned short key, std::string_view digits, EParmFlags flags,
                             unsigned char modifier)
{
    CheckRoom(key);
    const char* from = digits.data();
    const char* const end = from + digits.size();
    const bool isNegative = *from == '-';
    from += isNegative ? 1 : 0;
    while (from + 1 < end && *from == '0')
        ++from;
    char* const text = MakeTextRoom(kMaxDecimal);
    char* to = text;
    if (isNegative && *from != '0')
        *to++ = '-';
    to = std::copy(from, end, to);
    PutValue(key, static_cast<std::size_t>(to - text), flags, modifier);
}

void CIpcMessage::AddArg(unsigned short key, std::string_view text, unsigned char modifier)
{
    CheckRoom(key);
    PutText(key, text.substr(0, text.find('\0')), eParmText, modifier);
}

void CIpcMessage::AddArg(unsigned short key, const char* text, unsigned char modifier)
{
    CheckRoom(key);
    PutText(key, text, eParmText, modifier);
}

void CIpcMessage::CheckRoom(unsigned short key) const
{
    if (mArgs.size() >= kMaxArgs)
        throw CException("AddArg", kSource, __LINE__, false,
                         "Unable to add new message parameter.  MaxNumParms exceeded (%d)", key);
}

void CIpcMessage::PutText(unsigned short key, std::string_view text, unsigned char flags,
                          unsigned char modifier)
{
    char* const room = MakeTextRoom(text.size());
    std::copy(text.begin(), text.end(), room);
    PutValue(key, text.size(), flags, modifier);
}

// Makes an argument, or replaces it, of what was written behind the texts.
void CIpcMessage::PutValue(unsigned short key, std::size_t length, unsigned char flags,
                           unsigned char modifier)
{
    const auto start = static_cast<std::uint32_t>(mTextsFilled);
    mTextsFilled += length;
    const auto size = static_cast<std::uint32_t>(length);
    if (mArgs.empty() || mArgs.back().mKey < key)
    {
        mArgs.emplace_back(key, flags, modifier, start, size); // made in place: it is most of the work
        return;
    }
    const auto place = std::lower_bound(mArgs.begin(), mArgs.end(), key, IsBefore);
    if (place->mKey == key)
        *place = SArg(key, flags, modifier, start, size);
    else
        mArgs.emplace(place, key, flags, modifier, start, size);
}

// The values of all arguments stand in one buffer, which only grows; what was replaced stays in it until
// there is need for the room.
char* CIpcMessage::MakeTextRoom(std::size_t size)
{
    if (mTexts.size() - mTextsFilled < size)
        GrowTexts(size);
    return mTexts.data() + mTextsFilled;
}

void CIpcMessage::GrowTexts(std::size_t size)
{
    mArgs.reserve(kFirstArgs);
    DropUnusedTexts();
    if (mTexts.size() < 2 * mTextsFilled + size) // so that the next time is far off
        mTexts.resize(std::max(2 * (mTextsFilled + size), kFirstTexts));
}

void CIpcMessage::DropUnusedTexts()
{
    std::vector<char> texts;
    texts.reserve(mTexts.size());
    for (SArg& arg : mArgs)
    {
        const std::string_view text = GetText(arg);
        arg.mStart = static_cast<std::uint32_t>(texts.size());
        texts.insert(texts.end(), text.begin(), text.end());
    }
    mTextsFilled = texts.size();
    texts.resize(mTexts.size());
    mTexts = std::move(texts);
}

void CIpcMessage::RemoveArg(unsigned short key)
{
    const auto place = std::lower_bound(mArgs.begin(), mArgs.end(), key, IsBefore);
    if (place != mArgs.end() && place->mKey == key)
        mArgs.erase(place);
}

void CIpcMessage::ClearArgs()
{
    mArgs.clear();
    mTextsFilled = 0;
    mHeader.mArgCount = 0;
    mCursor = 0;
}

const CIpcMessage::SArg* CIpcMessage::FindArg(unsigned short key) const
{
    const auto place = std::lower_bound(mArgs.begin(), mArgs.end(), key, IsBefore);
    return place == mArgs.end() || place->mKey != key ? nullptr : &*place;
}

bool CIpcMessage::GetArg(unsigned short key, std::string& value) const
{
    const SArg* arg = FindArg(key);
    if (arg == nullptr)
        return false;
    value = GetText(*arg);
    return true;
}

bool CIpcMessage::GetArg(unsigned short key, int& value) const
{
    const SArg* arg = FindArg(key);
    return arg != nullptr && arg->mFlags != eParmText && ParseNumber(GetText(*arg), value);
}

bool CIpcMessage::GetArgFlags(unsigned short key, EParmFlags& flags) const
{
    const SArg* arg = FindArg(key);
    if (arg == nullptr)
        return false;
    flags = static_cast<EParmFlags>(arg->mFlags);
    return true;
}

bool CIpcMessage::GetModifier(unsigned short key, unsigned char& modifier) const
{
    const SArg* arg = FindArg(key);
    if (arg == nullptr)
        return false;
    modifier = arg->mModifier;
    return true;
}

bool CIpcMessage::IsNumberArg(unsigned short key) const
{
    const SArg* arg = FindArg(key);
    return arg != nullptr && (arg->mFlags & eParmNumber) != 0;
}

bool CIpcMessage::IsTextArg(unsigned short key) const
{
    const SArg* arg = FindArg(key);
    return arg != nullptr && arg->mFlags == eParmText;
}

void CIpcMessage::SetCharDelimiter(unsigned short key)
{
    const auto place = std::lower_bound(mArgs.begin(), mArgs.end(), key, IsBefore);
    if (place != mArgs.end() && place->mKey == key)
        place->mFlags |= eParmDelimiter;
}

bool CIpcMessage::GetFirstArg(unsigned short& key, std::string& value) const
{
    mCursor = 0;
    return GetNextArg(key, value);
}

bool CIpcMessage::GetNextArg(unsigned short& key, std::string& value) const
{
    constexpr std::uint32_t kLastKey = 0xFFFF;
    if (mCursor > kLastKey)
        return false;
    const auto entry =
        std::lower_bound(mArgs.begin(), mArgs.end(), static_cast<unsigned short>(mCursor), IsBefore);
    mCursor = entry == mArgs.end() ? kLastKey + 1 : std::uint32_t{entry->mKey} + 1;
    if (entry == mArgs.end())
        return false;
    key = entry->mKey;
    value = GetText(*entry);
    return true;
}

void CIpcMessage::MakeReply(unsigned short address)
{
    ClearArgs();
    SetFlag(eFlagRequest, false);
    SetFlag(eFlagReplyWanted, false);
    SetFlag(eFlagNotAddressed, false);
    SetFlag(eFlagReply);
    mDestination = mSource;
    mSource = address;
}

std::size_t CIpcMessage::GetSerializedSize() const
{
    std::size_t size = kHeaderSize;
    for (const SArg& arg : mArgs)
        size += kArgExtraSize + arg.mLength;
    return size;
}

unsigned int CIpcMessage::SerializeMessage(unsigned char*& out)
{
    const std::size_t size = GetSerializedSize();
    if (size <= kMaxSize)
    {
        mHeader.mArgCount = static_cast<std::uint16_t>(mArgs.size());
        mHeader.mLength = static_cast<std::uint16_t>(size);

        std::vector<unsigned char> buffer;
        buffer.reserve(size);
        CByteWriter writer(buffer);
        writer.PutLe16(mHeader.mMagic);
        writer.PutLe16(mHeader.mFlags);
        writer.PutLe32(mHeader.mType);
        writer.PutLe32(mHeader.mCode);
        writer.PutLe32(mHeader.mSubCode);
        writer.PutLe16(mHeader.mReserved);
        writer.PutLe16(mHeader.mSecondWord);
        writer.PutLe16(mHeader.mArgCount);
        writer.PutLe16(mHeader.mLength);
        for (const SArg& arg : mArgs)
        {
            writer.Put8(arg.mFlags);
            writer.Put8(arg.mModifier);
            writer.PutLe16(arg.mKey);
            writer.PutText(GetText(arg));
            writer.Put8(0);
        }
        mBuffer = std::move(buffer);
    }
    out = mBuffer.empty() ? nullptr : mBuffer.data();
    return static_cast<unsigned int>(size);
}

bool CIpcMessage::DeserializeMessage(const unsigned char* bytes, const char* sender)
{
    ClearArgs();
    CByteReader header(bytes, kHeaderSize);
    mHeader.mMagic = header.GetLe16();
    mHeader.mFlags = header.GetLe16();
    mHeader.mType = header.GetLe32();
    mHeader.mCode = header.GetLe32();
    mHeader.mSubCode = header.GetLe32();
    mHeader.mReserved = header.GetLe16();
    mHeader.mSecondWord = header.GetLe16();
    mHeader.mArgCount = header.GetLe16();
    mHeader.mLength = header.GetLe16();

    const unsigned char* at = bytes + kHeaderSize;
    for (std::uint16_t i = 0; i < mHeader.mArgCount; ++i)
    {
        const std::string_view text = reinterpret_cast<const char*>(at + kArgHeaderSize);
        PutText(NByteOrder::GetLe16(at + 2), text, at[0], at[1]); // a later one with the same key wins
        at += kArgExtraSize + text.size();
    }
    mSender = sender == nullptr ? "" : sender;
    return true;
}

bool CIpcMessage::IsCompleteMessage(const unsigned char* bytes, unsigned int length)
{
    return length >= kHeaderSize && NByteOrder::GetLe16(bytes) == kMagic &&
           NByteOrder::GetLe16(bytes + kLengthOffset) == length;
}

bool CIpcMessage::IsWellFormed(const unsigned char* bytes, std::size_t length)
{
    if (length > kMaxSize || !IsCompleteMessage(bytes, static_cast<unsigned int>(length)))
        return false;
    CByteReader in(bytes, length);
    in.Skip(kLengthOffset - sizeof(std::uint16_t));
    const std::size_t args = in.GetLe16();
    if (args > kMaxArgs)
        return false;
    in.Skip(sizeof(std::uint16_t)); // the length
    for (std::size_t i = 0; i < args; ++i)
    {
        in.Skip(kArgHeaderSize);
        in.GetZeroTerminated();
    }
    return in.Ok() && in.Left() == 0;
}

bool CIpcMessage::MeasureMessage(const unsigned char* bytes, std::size_t available, std::size_t& length)
{
    length = 0;
    if (available >= kMagicSize && NByteOrder::GetLe16(bytes) != kMagic)
        return false;
    if (available < kHeaderSize)
        return true;
    length = NByteOrder::GetLe16(bytes + kLengthOffset);
    return length >= kHeaderSize && length <= kMaxSize;
}

std::string CIpcMessage::GetMsgAsString(const CIpcMessage& message)
{
    std::string line = std::to_string(message.mDestination) + ' ' + std::to_string(message.mSource) + ' ' +
                       message.GetCode();
    const std::string subCode = message.GetSubCode();
    if (!subCode.empty())
        line += '+' + subCode;
    if (message.HasFlag(eFlagRequest))
        line += '?';
    else if (message.HasFlag(eFlagReply))
        line += '!';
    for (const SArg& arg : message.mArgs)
    {
        int number = 0;
        line += ' ';
        if (message.GetArg(arg.mKey, number))
            line += std::to_string(number);
        else
            line += message.GetText(arg);
    }
    return line;
}
