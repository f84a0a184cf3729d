// One table for every packet and for both ends of the link.
#include "software/bp/rtl/NPtPacket.h"

#include <algorithm>
#include <iterator>

namespace
{
using namespace NPtPacket;

struct SHeaderField
{
    EPacket mPacket;
    EPart mPart;
    unsigned mShift;
    std::uint64_t mMask; // of the value, before the shift
};

constexpr std::uint64_t kOpcodeMask = 0xF;
constexpr std::uint64_t kPlaceMask = 0x3F;
constexpr std::uint64_t kAddressMask = 0x3FF;
constexpr std::uint64_t kPayloadMask = 0x7FC; // whole words, up to 2044 bytes
constexpr std::uint64_t kReadMask = 0xFFFF;
constexpr std::uint64_t kRawWordMask = 0x3FFF;
constexpr std::uint64_t kBit = 1;
constexpr std::uint64_t kByte = 0xFF;
constexpr unsigned kUpperAddressShift = 10;

// The kinds are as unlike as the firmware has them: a read has its place where the others have nothing.
constexpr SHeaderField kFields[] = {
    {eWrite, eOpcode, 0, kOpcodeMask},
    {eWrite, eIncrement, 7, kBit},
    {eWrite, eWriteBytes, 16, kPayloadMask},
    {eWrite, eAddress, 48, kAddressMask},
    {eWrite, ePlace, 58, kPlaceMask},

    {eRequest, eOpcode, 0, kOpcodeMask},
    {eRequest, eIncrement, 7, kBit},
    {eRequest, eWriteBytes, 16, kPayloadMask},
    {eRequest, eReadBytes, 32, kPayloadMask},
    {eRequest, eAddress, 48, kAddressMask},
    {eRequest, ePlace, 58, kPlaceMask},

    {eRead, eOpcode, 0, kOpcodeMask},
    {eRead, eIncrement, 7, kBit},
    {eRead, ePlace, 10, kPlaceMask},
    {eRead, eReadBytes, 16, kReadMask},
    {eRead, eAddress, 48, kAddressMask},

    {eRawData, eOpcode, 0, kOpcodeMask},
    {eRawData, eFlagD, 8, kBit},
    {eRawData, eFlagC, 9, kBit},
    {eRawData, eFlagB, 10, kBit},
    {eRawData, eFlagA, 11, kBit},
    {eRawData, eTag, 12, 0xF},
    {eRawData, eWriteBytes, 16, kPayloadMask},
    {eRawData, eFirst, 32, kRawWordMask},
    {eRawData, eSecond, 48, kRawWordMask},

    {eRawControl, eOpcode, 0, kOpcodeMask},
    {eRawControl, eSelect, 8, 0x3},
    {eRawControl, eTag, 12, 0xF},
    {eRawControl, eFlagC, 40, kBit},
    {eRawControl, eFlagB, 44, kByte},
    {eRawControl, eFlagD, 48, kBit},
    {eRawControl, eFlagA, 52, kByte},
    {eRawControl, eTarget, 56, kByte},
};

constexpr std::uint64_t kOpcodeOfCaller = ~std::uint64_t{0};
constexpr std::uint64_t kOpcodes[kPacketCount] = {9, 10, 11, kOpcodeOfCaller, 8}; // in the order of EPacket
} // namespace

NPtPacket::Parts NPtPacket::MakeParts(std::uint8_t channel, std::uint16_t address, bool increment,
                                      std::uint32_t writeBytes, std::uint32_t readBytes) noexcept
{
    Parts parts{};
    parts[eIncrement] = increment ? 1 : 0;
    parts[ePlace] = channel | std::uint64_t{address} >> kUpperAddressShift;
    parts[eAddress] = address;
    parts[eWriteBytes] = writeBytes;
    parts[eReadBytes] = readBytes;
    return parts;
}

std::uint64_t NPtPacket::Build(EPacket packet, const Parts& parts) noexcept
{
    std::uint64_t header = 0;
    for (const SHeaderField& field : kFields)
    {
        if (field.mPacket != packet)
            continue;
        const bool isOwn = field.mPart == eOpcode && kOpcodes[packet] != kOpcodeOfCaller;
        header |= ((isOwn ? kOpcodes[packet] : parts[field.mPart]) & field.mMask) << field.mShift;
    }
    return header;
}

std::uint64_t NPtPacket::Extract(std::uint64_t header, EPacket packet, EPart part) noexcept
{
    const auto field =
        std::find_if(std::begin(kFields), std::end(kFields),
                     [=](const SHeaderField& f) { return f.mPacket == packet && f.mPart == part; });
    return field == std::end(kFields) ? 0 : header >> field->mShift & field->mMask;
}

NPtPacket::EPacket NPtPacket::Identify(std::uint64_t header) noexcept
{
    const auto opcode = std::find(std::begin(kOpcodes), std::end(kOpcodes), header & kOpcodeMask);
    return opcode == std::end(kOpcodes) ? eRawData : static_cast<EPacket>(opcode - std::begin(kOpcodes));
}
