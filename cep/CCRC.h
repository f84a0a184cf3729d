// The checksums of CEP messages and of what they carry.
#pragma once

#include <cstddef>
#include <cstdint>

namespace LibMarlix
{
class CCRC
{
public:
    /// CRC-16/ARC: polynomial 0x8005, least significant bit first, no final XOR. The result of one piece is
    /// the start of the next.
    /// @param initial  0 for messages
    static std::uint16_t calcCRC16(std::uint16_t initial, const unsigned char* data,
                                   std::size_t length) noexcept;

    /// CRC-32 (polynomial 0x04C11DB7, least significant bit first) from a start value that is taken as it is;
    /// the result is inverted. So 0xFFFFFFFF starts the usual checksum of files, and the inverted result of
    /// one piece starts the next. Without data the result is the inverted start value.
    static std::uint32_t calcCRC32(std::uint32_t initial, const unsigned char* data,
                                   std::size_t length) noexcept;
};
} // namespace LibMarlix
