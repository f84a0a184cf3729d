// What all register buses check.
#pragma once

#include <cstdint>

namespace NPtBus
{
constexpr std::uint8_t kLastChannel = 63;   ///< the packets have six bits for it
constexpr std::uint32_t kMaxTransfer = 256; ///< words of one packet
constexpr std::uint32_t kBytesPerWord = 4;

[[noreturn]] void ThrowNoBuffer(std::uint8_t channel, std::uint16_t address, std::uint32_t count);
[[noreturn]] void ThrowReadAndWrite(std::uint8_t channel, std::uint16_t address);

/// @throws CException "PtBus: [%d][0x%04X]: No buffer for %u elements"
inline void CheckBuffer(std::uint8_t channel, std::uint16_t address, const void* data, std::uint32_t count)
{
    if (data == nullptr && count != 0)
        ThrowNoBuffer(channel, address, count);
}

/// @throws CException the text of `IPtBus::Request`
inline void CheckRequest(std::uint8_t channel, std::uint16_t address, std::uint32_t writeCount,
                         std::uint32_t readCount)
{
    if (writeCount != 0 && readCount != 0)
        ThrowReadAndWrite(channel, address);
}
} // namespace NPtBus
