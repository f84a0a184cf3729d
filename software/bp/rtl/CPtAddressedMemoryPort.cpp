// The bus keeps the order of what is sent, so the address needs no reply of its own.
#include "software/bp/rtl/CPtAddressedMemoryPort.h"

namespace
{
constexpr std::uint32_t kAddressRegister = 0;
constexpr std::uint32_t kWholeWord = 0xFFFFFFFF;
} // namespace

CPtAddressedMemoryPort::CPtAddressedMemoryPort(IPtBus& bus, std::uint8_t channel, std::uint32_t base,
                                               std::uint32_t size, std::uint32_t dataOffset)
    : CPtRegisterBank(bus, channel, base, size)
    , mPort(*this, dataOffset)
{
}

CPtAddressedMemoryPort::CPtAddressedMemoryPort(CPtRegisterBank& parent, std::uint32_t offset,
                                               std::uint32_t size, std::uint32_t dataOffset)
    : CPtRegisterBank(parent, offset, size)
    , mPort(*this, dataOffset)
{
}

void CPtAddressedMemoryPort::SetAddress(std::uint32_t address)
{
    WriteField(kAddressRegister, address, 0, kWholeWord);
}

void CPtAddressedMemoryPort::WriteDataAtAddress(std::uint32_t address, const std::uint32_t* data,
                                                std::uint32_t count, std::uint32_t timeoutMs)
{
    SetAddress(address);
    mPort.Write(data, count, timeoutMs);
}

void CPtAddressedMemoryPort::WriteDataAtAddress(std::uint32_t address, const std::uint8_t* data,
                                                std::uint32_t count, std::uint32_t timeoutMs)
{
    SetAddress(address);
    mPort.Write(data, count, timeoutMs);
}

void CPtAddressedMemoryPort::ReadDataAtAddress(std::uint32_t address, std::uint32_t* data,
                                               std::uint32_t count, std::uint32_t timeoutMs)
{
    SetAddress(address);
    mPort.Read(data, count, timeoutMs);
}

void CPtAddressedMemoryPort::ReadDataAtAddress(std::uint32_t address, std::uint8_t* data, std::uint32_t count,
                                               std::uint32_t timeoutMs)
{
    SetAddress(address);
    mPort.Read(data, count, timeoutMs);
}
