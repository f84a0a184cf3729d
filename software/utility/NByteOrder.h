// Numbers to and from bytes, independent of the order of this machine; compilers make one move of each.
#pragma once

#include <cstddef>
#include <cstdint>

/// Le is least significant byte first, Be most significant byte first. The caller has made sure that there
/// are as many bytes as the number in the name has; `CByteReader` and `CByteWriter` do so by themselves.
namespace NByteOrder
{
template <typename TNumber>
constexpr TNumber GetLe(const unsigned char* bytes) noexcept
{
    TNumber value = 0;
    for (std::size_t i = 0; i < sizeof(TNumber); ++i)
        value = static_cast<TNumber>(value | static_cast<TNumber>(TNumber{bytes[i]} << (8 * i)));
    return value;
}

template <typename TNumber>
constexpr TNumber GetBe(const unsigned char* bytes) noexcept
{
    TNumber value = 0;
    for (std::size_t i = 0; i < sizeof(TNumber); ++i)
        value = static_cast<TNumber>(
            value | static_cast<TNumber>(TNumber{bytes[i]} << (8 * (sizeof(TNumber) - 1 - i))));
    return value;
}

template <typename TNumber>
constexpr void PutLe(unsigned char* bytes, TNumber value) noexcept
{
    for (std::size_t i = 0; i < sizeof(TNumber); ++i)
        bytes[i] = static_cast<unsigned char>(value >> (8 * i));
}

template <typename TNumber>
constexpr void PutBe(unsigned char* bytes, TNumber value) noexcept
{
    for (std::size_t i = 0; i < sizeof(TNumber); ++i)
        bytes[i] = static_cast<unsigned char>(value >> (8 * (sizeof(TNumber) - 1 - i)));
}

constexpr std::uint16_t GetLe16(const unsigned char* bytes) noexcept
{
    return GetLe<std::uint16_t>(bytes);
}
constexpr std::uint32_t GetLe32(const unsigned char* bytes) noexcept
{
    return GetLe<std::uint32_t>(bytes);
}
constexpr std::uint64_t GetLe64(const unsigned char* bytes) noexcept
{
    return GetLe<std::uint64_t>(bytes);
}
constexpr std::uint16_t GetBe16(const unsigned char* bytes) noexcept
{
    return GetBe<std::uint16_t>(bytes);
}
constexpr std::uint32_t GetBe32(const unsigned char* bytes) noexcept
{
    return GetBe<std::uint32_t>(bytes);
}
constexpr std::uint64_t GetBe64(const unsigned char* bytes) noexcept
{
    return GetBe<std::uint64_t>(bytes);
}

constexpr void PutLe16(unsigned char* bytes, std::uint16_t value) noexcept
{
    PutLe(bytes, value);
}
constexpr void PutLe32(unsigned char* bytes, std::uint32_t value) noexcept
{
    PutLe(bytes, value);
}
constexpr void PutLe64(unsigned char* bytes, std::uint64_t value) noexcept
{
    PutLe(bytes, value);
}
constexpr void PutBe16(unsigned char* bytes, std::uint16_t value) noexcept
{
    PutBe(bytes, value);
}
constexpr void PutBe32(unsigned char* bytes, std::uint32_t value) noexcept
{
    PutBe(bytes, value);
}
constexpr void PutBe64(unsigned char* bytes, std::uint64_t value) noexcept
{
    PutBe(bytes, value);
}
} // namespace NByteOrder
