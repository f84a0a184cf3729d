// Lengths in the BER form.
#pragma once

#include <cstddef>
#include <cstdint>

namespace LibMarlix
{
/// One byte up to 127; above, 0x80 plus the number of bytes that follow, then these, most significant first.
class CBERLength
{
public:
    static constexpr std::uint32_t kMaxLength = 0xFF'FFFF;
    static constexpr std::size_t kMaxBytes = 4; ///< of an encoded length

    /// @returns the size of the encoding of `length`; 0 above `kMaxLength`
    static std::size_t berBytesLength(std::uint32_t length) noexcept
    {
        return length < kLong ? 1 : longBerBytesLength(length);
    }

    /// @param bytes  room for `berBytesLength(length)` bytes, at most `kMaxBytes`
    /// @returns how many were written; 0 above `kMaxLength` or when `bytes` is null
    static std::size_t encodeLengthToBer(std::uint32_t length, unsigned char* bytes) noexcept
    {
        if (length >= kLong || bytes == nullptr)
            return encodeLong(length, bytes);
        *bytes = static_cast<unsigned char>(length);
        return 1;
    }

    /// Accepts forms that are longer than needed.
    /// @param length  0 when there is no length to read
    /// @returns how many bytes it took; 0 for 0x80, for 0x84 and above, for too few bytes and for null
    [[nodiscard]] static std::size_t decodeLengthFromBer(const unsigned char* bytes, std::size_t available,
                                                         std::uint32_t& length) noexcept
    {
        if (bytes == nullptr || available == 0 || *bytes >= kLong)
            return decodeLong(bytes, available, length);
        length = *bytes;
        return 1;
    }

    /// @returns whether a length can begin with this byte; if so, it can be read once enough bytes are there
    static bool isFirstByte(unsigned char first) noexcept { return first < kLong || longBytes(first) != 0; }

private:
    static constexpr unsigned char kLong = 0x80; // plus the number of bytes that follow
    static std::size_t longBytes(unsigned char first) noexcept;
    static std::size_t longBerBytesLength(std::uint32_t length) noexcept;
    static std::size_t encodeLong(std::uint32_t length, unsigned char* bytes) noexcept;
    static std::size_t decodeLong(const unsigned char* bytes, std::size_t available,
                                  std::uint32_t& length) noexcept;
};
} // namespace LibMarlix
