// The 16-bit checksum that several formats share; that of stored data sets is in NCrc.
#pragma once

#include <cstddef>
#include <cstdint>

namespace NCrc16
{
/// Polynomial 0x8005 with the least significant bit first (0xA001), eight bytes a step; no final XOR. The
/// result of one piece is the start of the next, so bytes that do not lie together need no copy.
/// @param crc    0 for CRC-16/ARC, 0xFFFF for streams that begin with it
/// @param bytes  may be null when `size` is 0
std::uint16_t Update8005(std::uint16_t crc, const unsigned char* bytes, std::size_t size) noexcept;
} // namespace NCrc16
