// The long forms. At most three bytes follow the first, so that every length fits a message.
#include "cep/CBERLength.h"

using namespace LibMarlix;

std::size_t CBERLength::longBytes(unsigned char first) noexcept
{
    return first > kLong && first < kLong + kMaxBytes ? static_cast<std::size_t>(first - kLong) : 0;
}

std::size_t CBERLength::longBerBytesLength(std::uint32_t length) noexcept
{
    if (length <= 0xFF)
        return 2;
    if (length <= 0xFFFF)
        return 3;
    return length <= kMaxLength ? kMaxBytes : 0;
}

std::size_t CBERLength::encodeLong(std::uint32_t length, unsigned char* bytes) noexcept
{
    const std::size_t size = bytes == nullptr ? 0 : longBerBytesLength(length);
    if (size == 0)
        return 0;
    bytes[0] = static_cast<unsigned char>(kLong + size - 1);
    for (std::size_t i = 1; i < size; ++i)
        bytes[i] = static_cast<unsigned char>(length >> (8 * (size - 1 - i)));
    return size;
}

std::size_t CBERLength::decodeLong(const unsigned char* bytes, std::size_t available,
                                   std::uint32_t& length) noexcept
{
    length = 0;
    if (bytes == nullptr || available == 0)
        return 0;
    const std::size_t following = longBytes(bytes[0]);
    if (following == 0 || available <= following)
        return 0;
    for (std::size_t i = 1; i <= following; ++i)
        length = (length << 8) | bytes[i];
    return 1 + following;
}
