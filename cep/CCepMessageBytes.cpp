// The bytes of a message. Every length in them is a claim of the sender, and checked before it is used.
#include "cep/CBERLength.h"
#include "cep/CCRC.h"
#include "cep/CCepMessage.h"
#include "software/utility/CByteReader.h"

#include <algorithm>
#include <memory>

using namespace LibMarlix;

namespace
{
constexpr unsigned char kNoCrc[] = {0, 0}; // what the field holds while the CRC is computed
constexpr std::size_t kKeySize = sizeof(std::uint32_t);
constexpr std::size_t kFirstRoom = 16; // properties; more than most messages have
constexpr std::uint32_t kTypeSize = 1; // bytes

constexpr std::size_t CrcOffset(EVERSION format) noexcept
{
    return format == eVersion1 ? 12 : 14;
}

// Of a message as if its CRC field were 0.
std::uint16_t ComputeCrc(EVERSION format, const unsigned char* bytes, std::size_t length) noexcept
{
    const std::size_t before = CrcOffset(format);
    const std::size_t behind = before + sizeof kNoCrc;
    const std::uint16_t crc = CCRC::calcCRC16(CCRC::calcCRC16(0, bytes, before), kNoCrc, sizeof kNoCrc);
    return CCRC::calcCRC16(crc, bytes + behind, length - behind);
}

/// Header fields, one after another, into bytes that are there.
class CHeaderWriter
{
public:
    explicit CHeaderWriter(unsigned char* at) noexcept
        : mAt(at)
    {
    }
    void Put8(std::uint8_t value) noexcept { *mAt++ = value; }
    void Put16(std::uint16_t value) noexcept
    {
        NByteOrder::PutLe16(mAt, value);
        mAt += sizeof value;
    }

private:
    unsigned char* mAt;
};
} // namespace

std::uint8_t CCepMessage::CheckMessageHeader(const unsigned char* bytes, std::size_t length) noexcept
{
    if (bytes == nullptr || length < kMinSize || !std::equal(std::begin(kMagic), std::end(kMagic), bytes))
        return 0;
    return bytes[kFormatOffset];
}

std::uint64_t CCepMessage::measureProperties(EVERSION format) const noexcept
{
    const std::uint32_t typeSize = format == eVersion1 ? 0 : kTypeSize;
    std::uint64_t size = 0;
    for (const SProperty& property : mProperties)
    {
        const std::uint32_t length = property.mData.getSize() + typeSize;
        size += kKeySize + CBERLength::berBytesLength(length) + length;
    }
    return size;
}

unsigned char* CCepMessage::putProperties(EVERSION format, unsigned char* at) const noexcept
{
    const bool hasType = format != eVersion1;
    for (const SProperty& property : mProperties)
    {
        const std::uint32_t size = property.mData.getSize();
        NByteOrder::PutLe32(at, property.mKey);
        at += kKeySize;
        at += CBERLength::encodeLengthToBer(size + (hasType ? kTypeSize : 0), at);
        if (hasType)
            *at++ = property.mData.getType();
        at = property.mData.copyTo(at);
    }
    return at;
}

unsigned char* CCepMessage::toBytes(EVERSION format, std::size_t& length, bool withCrc) const
{
    length = 0;
    const std::uint64_t area = measureProperties(format);
    if (area > CBERLength::kMaxLength)
        return nullptr;
    const auto areaSize = static_cast<std::uint32_t>(area);
    const std::size_t total = kHeaderSize + CBERLength::berBytesLength(areaSize) + areaSize;
    std::unique_ptr<unsigned char[]> bytes(
        new unsigned char[total + CEPPropertyData::kInside]); // the rest as room for copyTo

    std::copy(std::begin(kMagic), std::end(kMagic), bytes.get());
    CHeaderWriter out(bytes.get() + kFormatOffset);
    out.Put8(format);
    out.Put8(mMinorVersion);
    out.Put8(mCommandCode);
    if (format == eVersion1)
        out.Put8(static_cast<std::uint8_t>(mObjectId));
    else
        out.Put16(mObjectId);
    out.Put16(mErrorCode);
    if (format != eVersion1)
        out.Put8(mDestinationId);
    out.Put8(mSourceId);
    out.Put8(mSecurityId);
    out.Put16(mCrc);
    out.Put8(mSequenceNumber);
    out.Put8(0); // reserved, as the two that only format 1 has room for
    if (format == eVersion1)
        out.Put16(0);

    unsigned char* at = bytes.get() + kHeaderSize;
    at += CBERLength::encodeLengthToBer(areaSize, at);
    putProperties(format, at);
    if (withCrc)
        NByteOrder::PutLe16(bytes.get() + CrcOffset(format), ComputeCrc(format, bytes.get(), total));
    length = total;
    mDecodingError = eCepSuccess;
    return bytes.release(); // the caller owns it
}

bool CCepMessage::fromBytes(const unsigned char* bytes, std::size_t length, std::size_t& consumed,
                            bool checkCrc)
{
    consumed = 0;
    const std::uint8_t version = CheckMessageHeader(bytes, length);
    if (version == 0)
        return fail(eCepInvalidHeader);

    const EVERSION format = version == eVersion1 ? eVersion1 : eVersion2;
    CByteReader in(bytes + kFormatOffset, kHeaderSize - kFormatOffset);
    mMajorVersion = in.Get8();
    mMinorVersion = in.Get8();
    mCommandCode = in.Get8();
    mObjectId = format == eVersion1 ? in.Get8() : in.GetLe16();
    mErrorCode = in.GetLe16();
    mDestinationId = format == eVersion1 ? std::uint8_t{0} : in.Get8();
    mSourceId = in.Get8();
    mSecurityId = in.Get8();
    mCrc = in.GetLe16();
    mSequenceNumber = in.Get8();

    std::uint32_t area = 0;
    const std::size_t berSize =
        CBERLength::decodeLengthFromBer(bytes + kHeaderSize, length - kHeaderSize, area);
    if (berSize == 0)
        return fail(eCepTooShort);
    const std::size_t total = kHeaderSize + berSize + area;
    consumed = total;
    if (length < total)
        return fail(eCepTooShort);
    if (checkCrc && ComputeCrc(format, bytes, total) != mCrc)
        return fail(eCepWrongCrc);

    mFormat = format;
    mProperties.clear();
    if (!takeProperties(bytes + kHeaderSize + berSize, area))
    {
        mProperties.clear();
        return fail(eCepTooShort);
    }
    mDecodingError = eCepSuccess;
    return true;
}

// @returns false when they do not end with their area, or one has no room for its type
bool CCepMessage::takeProperties(const unsigned char* bytes, std::size_t size)
{
    const std::uint32_t typeSize = mFormat == eVersion1 ? 0 : kTypeSize;
    mProperties.reserve(std::min(kFirstRoom, size / (kKeySize + 1 + typeSize)));
    bool isAscending = true;
    while (size > 0)
    {
        std::uint32_t length = 0;
        const std::size_t berSize =
            size < kKeySize ? 0 : CBERLength::decodeLengthFromBer(bytes + kKeySize, size - kKeySize, length);
        const std::size_t prefix = kKeySize + berSize;
        if (berSize == 0 || length < typeSize || length > size - prefix)
            return false;
        const std::uint32_t key = NByteOrder::GetLe32(bytes);
        const unsigned char* data = bytes + prefix;
        const std::uint8_t type = typeSize == 0 ? std::uint8_t{eTypeUnknown} : *data;
        isAscending = isAscending && (mProperties.empty() || mProperties.back().mKey < key);
        mProperties.emplace_back(key, data + typeSize, length - typeSize, type);
        bytes = data + length;
        size -= prefix + length;
    }
    if (!isAscending)
        sortProperties();
    return true;
}

// Once for all, so that no order of keys makes decoding slow. Of equal keys the later one stays.
void CCepMessage::sortProperties()
{
    std::stable_sort(mProperties.begin(), mProperties.end(),
                     [](const SProperty& a, const SProperty& b) { return a.mKey < b.mKey; });
    const auto isSameKey = [](const SProperty& a, const SProperty& b) { return a.mKey == b.mKey; };
    const auto firstKept = std::unique(mProperties.rbegin(), mProperties.rend(), isSameKey).base();
    mProperties.erase(mProperties.begin(), firstKept);
}
