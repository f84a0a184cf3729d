// The checksum of stored data sets. The one of messages and streams is in NCrc16.
#pragma once

#include <cstddef>
#include <cstdint>

namespace NCrc
{
/// Polynomial 0x1021 with the most significant bit first, initial value 0, no final XOR. Each byte comes in
/// at the bottom of the remainder, and no zero bytes follow the last one: this differs from the common CCITT
/// variants, and records in the field hold it.
/// @param bytes  may be null when `size` is 0
std::uint16_t GetCrc16(const unsigned char* bytes, std::size_t size) noexcept;
} // namespace NCrc
