// The packets of the PCIe link: which value stands at which bits of the header word.
#pragma once

#include <array>
#include <cstdint>

namespace NPtPacket
{
enum EPacket
{
    eWrite,      ///< register write
    eRequest,    ///< write or read with a reply
    eRead,       ///< register read
    eRawData,    ///< fields by the caller, with payload
    eRawControl, ///< fields by the caller, without payload
    kPacketCount,
};

/// What a header is made of; each kind of packet has some of it.
enum EPart
{
    eOpcode,
    eIncrement,
    ePlace,   ///< channel OR upper six bits of the address
    eAddress, ///< of which the header keeps the lower ten bits
    eWriteBytes,
    eReadBytes,
    eTag, // from here on the raw packets' own
    eFirst,
    eSecond,
    eFlagA,
    eFlagB,
    eFlagC,
    eFlagD,
    eSelect,
    eTarget,
    kPartCount,
};

using Parts = std::array<std::uint64_t, kPartCount>;

/// Parts of a packet that goes to a register.
Parts MakeParts(std::uint8_t channel, std::uint16_t address, bool increment, std::uint32_t writeBytes,
                std::uint32_t readBytes) noexcept;

/// The header word. A part that is too large for its bits loses the upper ones; an opcode of the kind's own
/// replaces the one in `parts`.
std::uint64_t Build(EPacket packet, const Parts& parts) noexcept;

/// One part of a header, for the other end of the link; 0 when this kind has no such part.
std::uint64_t Extract(std::uint64_t header, EPacket packet, EPart part) noexcept;

/// Which kind a header is of, by its opcode; what is none of the others is raw data.
EPacket Identify(std::uint64_t header) noexcept;
} // namespace NPtPacket
