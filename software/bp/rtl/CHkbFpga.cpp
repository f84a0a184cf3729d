// Single registers are blocks of one element.
#include "software/bp/rtl/CHkbFpga.h"

#include "software/utility/CException.h"
#include "software/utility/NByteOrder.h"

namespace
{
constexpr char kSource[] = "software/bp/rtl/CHkbFpga";
constexpr std::uint8_t kLastDeviceId = 127; // bit 0 of its byte says read or write
constexpr std::uint32_t kAlignment = 4;
} // namespace

CHkbFpga::CHkbFpga(ITransactLink& link, std::uint8_t deviceId)
    : mLink(link)
    , mDeviceId(deviceId)
{
    if (deviceId > kLastDeviceId)
        throw CException(__func__, kSource, __LINE__, false, "Hkb device id %u is out of range.",
                         unsigned{deviceId});
}

void CHkbFpga::CheckAddress(std::uint32_t address)
{
    if (address % kAlignment != 0)
        throw CException(__func__, kSource, __LINE__, false, "Hkb address is not on 4 byte boundaries.");
    if (address >= kAddressLimit)
        throw CException(__func__, kSource, __LINE__, false, "Hkb address %d is out of range.",
                         static_cast<int>(address));
}

void CHkbFpga::FillOutHeader(std::uint8_t (&header)[kHeaderSize], bool isRead, std::uint32_t address,
                             std::uint32_t length, EAddrMode mode) const
{
    if (length > kMaxPayload)
        throw CException(__func__, kSource, __LINE__, false, "Message payload exceeds %d limit",
                         static_cast<int>(kMaxPayload));
    if (length == 0) // on the wire 0 stands for 256
        throw CException(__func__, kSource, __LINE__, false, "Message payload is empty");
    CheckAddress(address);
    header[0] = static_cast<std::uint8_t>(mDeviceId << 1 | (isRead ? 1 : 0));
    header[1] = static_cast<std::uint8_t>(length); // 256 becomes 0
    header[2] = static_cast<std::uint8_t>(address);
    header[3] = static_cast<std::uint8_t>((address >> 8 & 0xF) << 4 | unsigned{mode} << 3);
}

template <typename TElement>
void CHkbFpga::ReadBlock(std::uint32_t address, TElement* data, std::uint32_t count, EAddrMode mode)
{
    // A count that is far too large must not wrap into one that is not.
    const std::uint32_t length = count > kMaxPayload ? count : count * std::uint32_t{sizeof(TElement)};
    std::uint8_t header[kHeaderSize];
    FillOutHeader(header, true, address, length, mode);
    std::uint8_t payload[kMaxPayload] = {};
    SMessage message{header, kHeaderSize, payload, length};
    mLink.Transact(message);
    for (std::uint32_t i = 0; i < count; ++i)
        data[i] = NByteOrder::GetLe<TElement>(payload + i * sizeof(TElement));
}

template <typename TElement>
void CHkbFpga::WriteBlock(std::uint32_t address, const TElement* data, std::uint32_t count, EAddrMode mode)
{
    const std::uint32_t length = count > kMaxPayload ? count : count * std::uint32_t{sizeof(TElement)};
    std::uint8_t header[kHeaderSize];
    FillOutHeader(header, false, address, length, mode);
    std::uint8_t bytes[kHeaderSize + kMaxPayload];
    for (std::uint32_t i = 0; i < kHeaderSize; ++i)
        bytes[i] = header[i];
    for (std::uint32_t i = 0; i < count; ++i)
        NByteOrder::PutLe(bytes + kHeaderSize + i * sizeof(TElement), data[i]);
    SMessage message{bytes, kHeaderSize + length, nullptr, 0};
    mLink.Transact(message);
}

std::uint8_t CHkbFpga::ReadRegisterB(std::uint32_t address)
{
    std::uint8_t value = 0;
    ReadBlock(address, &value, 1, eAddrIncrement);
    return value;
}

std::uint16_t CHkbFpga::ReadRegisterH(std::uint32_t address)
{
    std::uint16_t value = 0;
    ReadBlock(address, &value, 1, eAddrIncrement);
    return value;
}

std::uint32_t CHkbFpga::ReadRegisterW(std::uint32_t address)
{
    std::uint32_t value = 0;
    ReadBlock(address, &value, 1, eAddrIncrement);
    return value;
}

void CHkbFpga::WriteRegisterB(std::uint32_t address, std::uint8_t value)
{
    WriteBlock(address, &value, 1, eAddrIncrement);
}

void CHkbFpga::WriteRegisterH(std::uint32_t address, std::uint16_t value)
{
    WriteBlock(address, &value, 1, eAddrIncrement);
}

void CHkbFpga::WriteRegisterW(std::uint32_t address, std::uint32_t value)
{
    WriteBlock(address, &value, 1, eAddrIncrement);
}

void CHkbFpga::ReadRegisterBlockB(std::uint32_t address, std::uint8_t* data, std::uint32_t count,
                                  EAddrMode mode)
{
    ReadBlock(address, data, count, mode);
}

void CHkbFpga::ReadRegisterBlockW(std::uint32_t address, std::uint32_t* data, std::uint32_t count,
                                  EAddrMode mode)
{
    ReadBlock(address, data, count, mode);
}

void CHkbFpga::WriteRegisterBlockB(std::uint32_t address, const std::uint8_t* data, std::uint32_t count,
                                   EAddrMode mode)
{
    WriteBlock(address, data, count, mode);
}

void CHkbFpga::WriteRegisterBlockW(std::uint32_t address, const std::uint32_t* data, std::uint32_t count,
                                   EAddrMode mode)
{
    WriteBlock(address, data, count, mode);
}
