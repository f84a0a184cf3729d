// What messages hold; what the bytes mean is in CCepMessageBytes.cpp.
#include "cep/CCepMessage.h"

#include <algorithm>

using namespace LibMarlix;

namespace
{
constexpr bool IsBetween(unsigned value, unsigned first, unsigned last) noexcept
{
    return value >= first && value <= last;
}

/// Types that differ in the sign alone are one kind. In both rows of numbers the unsigned types are odd, each
/// before its signed one.
constexpr unsigned KindOf(unsigned type) noexcept
{
    const bool isNumber =
        IsBetween(type, eTypeUInt8, eTypeInt64) || IsBetween(type, eTypeArrayUInt8, eTypeArrayInt64);
    return isNumber && type % 2 == 0 ? type - 1 : type;
}
static_assert(KindOf(eTypeInt16) == eTypeUInt16 && KindOf(eTypeArrayInt64) == eTypeArrayUInt64);
static_assert(KindOf(eTypeBool) == eTypeBool && KindOf(eTypeString) == eTypeString);
} // namespace

std::size_t CCepMessage::locate(std::uint32_t key) const noexcept
{
    if (mProperties.empty() || mProperties.back().mKey < key) // messages are mostly built in order
        return mProperties.size();
    const auto at = std::lower_bound(mProperties.begin(), mProperties.end(), key,
                                     [](const SProperty& p, std::uint32_t k) { return p.mKey < k; });
    return static_cast<std::size_t>(at - mProperties.begin());
}

const CEPPropertyData* CCepMessage::find(std::uint32_t key) const noexcept
{
    const std::size_t at = locate(key);
    return at < mProperties.size() && mProperties[at].mKey == key ? &mProperties[at].mData : nullptr;
}

const CEPPropertyData* CCepMessage::find(std::uint32_t key, EPROPERTY_TYPES type) const noexcept
{
    const CEPPropertyData* data = find(key);
    mDecodingError = data == nullptr ? eCepNoSuchKey : eCepSuccess;
    if (data == nullptr || mFormat == eVersion1 || data->getType() == eTypeUnknown ||
        KindOf(data->getType()) == KindOf(type))
        return data;
    mDecodingError = eCepWrongType;
    return nullptr;
}

bool CCepMessage::fail(std::uint32_t error) const noexcept
{
    mDecodingError = error;
    return false;
}

bool CCepMessage::setProperty(std::uint32_t key, const unsigned char* bytes, std::uint32_t size,
                              std::uint8_t type)
{
    if (size > kMaxDataSize || (bytes == nullptr && size > 0))
        return false;
    SProperty property(key, bytes, size, type); // before anything moves: the bytes may be those of a property
    const std::size_t at = locate(key);
    if (at < mProperties.size() && mProperties[at].mKey == key)
        mProperties[at] = std::move(property);
    else
        mProperties.insert(mProperties.begin() + static_cast<std::ptrdiff_t>(at), std::move(property));
    mDecodingError = eCepSuccess;
    return true;
}

bool CCepMessage::removeProperty(std::uint32_t key)
{
    const std::size_t at = locate(key);
    if (at == mProperties.size() || mProperties[at].mKey != key)
        return fail(eCepNoSuchKey);
    mProperties.erase(mProperties.begin() + static_cast<std::ptrdiff_t>(at));
    mDecodingError = eCepSuccess;
    return true;
}

void CCepMessage::clearProperties() noexcept
{
    mProperties.clear();
}

std::uint8_t CCepMessage::getType(std::uint32_t key) const noexcept
{
    const CEPPropertyData* data = find(key);
    return data == nullptr ? std::uint8_t{0} : data->getType();
}

std::uint32_t CCepMessage::getSize(std::uint32_t key) const noexcept
{
    const CEPPropertyData* data = find(key);
    return data == nullptr ? 0 : data->getSize();
}

bool CCepMessage::testProperty(std::uint32_t key, EPROPERTY_TYPES type) const noexcept
{
    return find(key, type) != nullptr;
}

std::vector<std::uint32_t> CCepMessage::getMessageKeys() const
{
    std::vector<std::uint32_t> keys;
    keys.reserve(mProperties.size());
    for (const SProperty& property : mProperties)
        keys.push_back(property.mKey);
    return keys;
}

bool CCepMessage::getText(std::uint32_t key, EPROPERTY_TYPES type, std::string& text) const
{
    const CEPPropertyData* data = find(key, type);
    if (data == nullptr)
        return false;
    const unsigned char* bytes = data->getBytes();
    text.assign(bytes, bytes + data->getSize());
    return true;
}

bool CCepMessage::setText(std::uint32_t key, EPROPERTY_TYPES type, const std::string& text)
{
    return text.size() <= kMaxDataSize &&
           setProperty(key, reinterpret_cast<const unsigned char*>(text.data()),
                       static_cast<std::uint32_t>(text.size()), type);
}

bool CCepMessage::getData(std::uint32_t key, std::vector<unsigned char>& bytes) const
{
    const CEPPropertyData* data = find(key);
    if (data == nullptr)
        return fail(eCepNoSuchKey);
    bytes.assign(data->getBytes(), data->getBytes() + data->getSize());
    mDecodingError = eCepSuccess;
    return true;
}
