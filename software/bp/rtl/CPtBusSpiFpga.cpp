// Cuts transfers into what one message of the FPGA holds.
#include "software/bp/rtl/CPtBusSpiFpga.h"

#include "software/bp/rtl/CHkbFpga.h"
#include "software/bp/rtl/NPtBus.h"

#include <algorithm>
#include <cstddef>

namespace
{
constexpr std::uint32_t kAlignment = 4;

CHkbFpga::EAddrMode ToMode(bool increment) noexcept
{
    return increment ? CHkbFpga::eAddrIncrement : CHkbFpga::eAddrFixed;
}

// One element goes as a register.
void Write(CHkbFpga& fpga, std::uint32_t address, const std::uint32_t* data, std::uint32_t count,
           bool increment)
{
    if (count == 1)
        fpga.WriteRegisterW(address, *data);
    else
        fpga.WriteRegisterBlockW(address, data, count, ToMode(increment));
}

void Write(CHkbFpga& fpga, std::uint32_t address, const std::uint8_t* data, std::uint32_t count,
           bool increment)
{
    if (count == 1)
        fpga.WriteRegisterB(address, *data);
    else
        fpga.WriteRegisterBlockB(address, data, count, ToMode(increment));
}

void Read(CHkbFpga& fpga, std::uint32_t address, std::uint32_t* data, std::uint32_t count, bool increment)
{
    if (count == 1)
        *data = fpga.ReadRegisterW(address);
    else
        fpga.ReadRegisterBlockW(address, data, count, ToMode(increment));
}

void Read(CHkbFpga& fpga, std::uint32_t address, std::uint8_t* data, std::uint32_t count, bool increment)
{
    if (count == 1)
        *data = fpga.ReadRegisterB(address);
    else
        fpga.ReadRegisterBlockB(address, data, count, ToMode(increment));
}

/// @param transfer  called with the address, the first element and the number of elements of each piece
template <typename TElement, typename TTransfer>
void InPieces(std::uint8_t channel, std::uint16_t address, TElement* data, std::uint32_t count,
              bool increment, TTransfer transfer)
{
    constexpr std::uint32_t kSize = sizeof(TElement);
    constexpr std::uint32_t kMost = CHkbFpga::kMaxPayload / kSize;
    if (count == 0)
        return;
    NPtBus::CheckBuffer(channel, address, data, count);
    CHkbFpga::CheckAddress(address);
    if (increment)
    {
        const std::uint64_t last = address + std::uint64_t{count - 1} * kSize;
        CHkbFpga::CheckAddress(static_cast<std::uint32_t>(
            std::min<std::uint64_t>(last, CHkbFpga::kAddressLimit) / kAlignment * kAlignment));
    }
    for (std::uint32_t done = 0; done < count;)
    {
        const std::uint32_t piece = std::min(count - done, kMost);
        transfer(address + (increment ? done * kSize : 0), data + done, piece);
        done += piece;
    }
}

template <typename TElement>
void SendAll(CHkbFpga& fpga, std::uint8_t channel, std::uint16_t address, const TElement* data,
             std::uint32_t count, bool increment)
{
    InPieces(channel, address, data, count, increment,
             [&](std::uint32_t at, const TElement* from, std::uint32_t piece)
             { Write(fpga, at, from, piece, increment); });
}

template <typename TElement>
void ReceiveAll(CHkbFpga& fpga, std::uint8_t channel, std::uint16_t address, TElement* data,
                std::uint32_t count, bool increment)
{
    InPieces(channel, address, data, count, increment,
             [&](std::uint32_t at, TElement* to, std::uint32_t piece)
             { Read(fpga, at, to, piece, increment); });
}
} // namespace

void CPtBusSpiFpga::Send(std::uint8_t channel, std::uint16_t address, const std::uint32_t* data,
                         std::uint32_t count, bool increment)
{
    SendAll(mFpga, channel, address, data, count, increment);
}

void CPtBusSpiFpga::Send(std::uint8_t channel, std::uint16_t address, const std::uint8_t* data,
                         std::uint32_t count, bool increment)
{
    SendAll(mFpga, channel, address, data, count, increment);
}

void CPtBusSpiFpga::Receive(std::uint8_t channel, std::uint16_t address, std::uint32_t* data,
                            std::uint32_t count, bool increment, std::uint32_t)
{
    ReceiveAll(mFpga, channel, address, data, count, increment);
}

void CPtBusSpiFpga::Receive(std::uint8_t channel, std::uint16_t address, std::uint8_t* data,
                            std::uint32_t count, bool increment, std::uint32_t)
{
    ReceiveAll(mFpga, channel, address, data, count, increment);
}

void CPtBusSpiFpga::Request(std::uint8_t channel, std::uint16_t address, const std::uint32_t* writeData,
                            std::uint32_t writeCount, std::uint32_t* readData, std::uint32_t readCount,
                            bool increment, std::uint32_t)
{
    NPtBus::CheckRequest(channel, address, writeCount, readCount);
    SendAll(mFpga, channel, address, writeData, writeCount, increment);
    ReceiveAll(mFpga, channel, address, readData, readCount, increment);
}

void CPtBusSpiFpga::Request(std::uint8_t channel, std::uint16_t address, const std::uint8_t* writeData,
                            std::uint32_t writeCount, std::uint8_t* readData, std::uint32_t readCount,
                            bool increment, std::uint32_t)
{
    NPtBus::CheckRequest(channel, address, writeCount, readCount);
    SendAll(mFpga, channel, address, writeData, writeCount, increment);
    ReceiveAll(mFpga, channel, address, readData, readCount, increment);
}
