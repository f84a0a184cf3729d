// Both kinds of elements share one loop.
#include "software/bp/rtl/CPtMemoryPort.h"

#include "software/bp/rtl/CPtRegisterBank.h"
#include "software/bp/rtl/IPtBus.h"
#include "software/bp/rtl/NPtBus.h"
#include "software/utility/CException.h"

#include <algorithm>

namespace
{
constexpr char kSource[] = "software/bp/rtl/CPtMemoryPort";
constexpr std::uint32_t kLastAddress = 0xFFFF;
constexpr std::uint32_t kTimeoutMs = 10;

std::uint32_t Checked(std::uint64_t address)
{
    if (address > kLastAddress)
        throw CException("CPtMemoryPort", kSource, __LINE__, false, "Port at %#x exceeds 16 bit addresses",
                         static_cast<unsigned>(std::min<std::uint64_t>(address, UINT32_MAX)));
    return static_cast<std::uint32_t>(address);
}

std::uint32_t OffsetIn(const CPtRegisterBank& bank, std::uint32_t offset)
{
    bank.AddressCheck(offset);
    return bank.GetBase() + offset;
}

template <typename TElement>
void WriteChunks(const CPtResource& port, const TElement* data, std::uint32_t count, std::uint32_t timeoutMs)
{
    const auto address = static_cast<std::uint16_t>(port.GetBase());
    NPtBus::CheckBuffer(port.GetChannel(), address, data, count);
    TElement* const noReply = nullptr;
    for (std::uint32_t done = 0; done < count;)
    {
        const std::uint32_t chunk = std::min(count - done, NPtBus::kMaxTransfer);
        if (timeoutMs == 0)
            port.GetBus().Send(port.GetChannel(), address, data + done, chunk, false);
        else
            port.GetBus().Request(port.GetChannel(), address, data + done, chunk, noReply, 0, false,
                                  timeoutMs);
        done += chunk;
    }
}

template <typename TElement>
void ReadAll(const CPtResource& port, std::uint16_t address, TElement* data, std::uint32_t count,
             std::uint32_t timeoutMs)
{
    const TElement* const nothing = nullptr;
    port.GetBus().Request(port.GetChannel(), address, nothing, 0, data, count, false, timeoutMs);
}
} // namespace

CPtMemoryPort::CPtMemoryPort(IPtBus& bus, std::uint8_t channel, std::uint32_t address)
    : CPtResource(bus, channel, Checked(address))
{
}

CPtMemoryPort::CPtMemoryPort(const CPtRegisterBank& bank, std::uint32_t offset)
    : CPtMemoryPort(bank.GetBus(), bank.GetChannel(), OffsetIn(bank, offset))
{
}

std::uint16_t CPtMemoryPort::AddressAt(std::uint32_t offset) const
{
    return static_cast<std::uint16_t>(Checked(std::uint64_t{GetBase()} + offset));
}

void CPtMemoryPort::Write(const std::uint32_t* data, std::uint32_t count, std::uint32_t timeoutMs)
{
    WriteChunks(*this, data, count, timeoutMs);
}

void CPtMemoryPort::Write(const std::uint8_t* data, std::uint32_t count, std::uint32_t timeoutMs)
{
    WriteChunks(*this, data, count, timeoutMs);
}

void CPtMemoryPort::Read(std::uint32_t* data, std::uint32_t count, std::uint32_t timeoutMs)
{
    ReadAll(*this, AddressAt(0), data, count, timeoutMs);
}

void CPtMemoryPort::Read(std::uint8_t* data, std::uint32_t count, std::uint32_t timeoutMs)
{
    ReadAll(*this, AddressAt(0), data, count, timeoutMs);
}

std::uint32_t CPtMemoryPort::Read(std::uint32_t address)
{
    std::uint32_t word = 0;
    ReadAll(*this, AddressAt(address), &word, 1, kTimeoutMs);
    return word;
}

std::uint8_t CPtMemoryPort::ReadByte(std::uint32_t address)
{
    std::uint8_t byte = 0;
    ReadAll(*this, AddressAt(address), &byte, 1, kTimeoutMs);
    return byte;
}
