// Word by word, or byte by byte where bytes are written.
#include "simulator/CSimulatedLocalBus.h"

#include "simulator/CSimulatedFpga.h"
#include "software/bp/rtl/NPtBus.h"

#include <algorithm>

namespace
{
constexpr std::uint32_t kWord = NPtBus::kBytesPerWord;

std::uint16_t Step(std::uint16_t address, std::uint32_t index, bool increment, std::uint32_t size) noexcept
{
    return static_cast<std::uint16_t>(increment ? address + index * size : address);
}
} // namespace

CSimulatedLocalBus::CSimulatedLocalBus(CSimulatedFpga& fpga, std::uint8_t page)
    : CPtBusLocal(mWords.data(), IPtPages::kPageSize, false)
    , mFpga(fpga)
    , mPage(page)
{
}

void CSimulatedLocalBus::Fetch(std::uint32_t address)
{
    if (address < IPtPages::kPageSize) // what lies outside the bus refuses
        mWords[address / kWord] = mFpga.Read(mPage, address);
}

void CSimulatedLocalBus::Deliver(std::uint32_t address)
{
    mFpga.Write(mPage, address, mWords[address / kWord]);
}

void CSimulatedLocalBus::Send(std::uint8_t channel, std::uint16_t address, const std::uint32_t* data,
                              std::uint32_t count, bool increment)
{
    NPtBus::CheckBuffer(channel, address, data, count);
    for (std::uint32_t i = 0; i < count; ++i)
    {
        const std::uint16_t at = Step(address, i, increment, kWord);
        CPtBusLocal::Send(channel, at, data + i, 1, true);
        Deliver(at);
    }
}

void CSimulatedLocalBus::Send(std::uint8_t channel, std::uint16_t address, const std::uint8_t* data,
                              std::uint32_t count, bool)
{
    NPtBus::CheckBuffer(channel, address, data, count);
    for (std::uint32_t i = 0; i < count; ++i)
    {
        const std::uint16_t at = Step(address, i, true, 1);
        Fetch(at);
        CPtBusLocal::Send(channel, at, data + i, 1, true);
        Deliver(at);
    }
}

void CSimulatedLocalBus::Receive(std::uint8_t channel, std::uint16_t address, std::uint32_t* data,
                                 std::uint32_t count, bool increment, std::uint32_t timeoutMs)
{
    NPtBus::CheckBuffer(channel, address, data, count);
    for (std::uint32_t i = 0; i < count; ++i)
    {
        const std::uint16_t at = Step(address, i, increment, kWord);
        Fetch(at);
        CPtBusLocal::Receive(channel, at, data + i, 1, true, timeoutMs);
    }
}

void CSimulatedLocalBus::Receive(std::uint8_t channel, std::uint16_t address, std::uint8_t* data,
                                 std::uint32_t count, bool increment, std::uint32_t timeoutMs)
{
    NPtBus::CheckBuffer(channel, address, data, count);
    for (std::uint32_t done = 0; done < count; done += kWord)
    {
        const std::uint16_t at = Step(address, done, increment, 1);
        Fetch(at);
        CPtBusLocal::Receive(channel, at, data + done, std::min(count - done, kWord), true, timeoutMs);
    }
}

void CSimulatedLocalBus::Request(std::uint8_t channel, std::uint16_t address, const std::uint32_t* writeData,
                                 std::uint32_t writeCount, std::uint32_t* readData, std::uint32_t readCount,
                                 bool increment, std::uint32_t timeoutMs)
{
    NPtBus::CheckRequest(channel, address, writeCount, readCount);
    Send(channel, address, writeData, writeCount, increment);
    Receive(channel, address, readData, readCount, increment, timeoutMs);
}

void CSimulatedLocalBus::Request(std::uint8_t channel, std::uint16_t address, const std::uint8_t* writeData,
                                 std::uint32_t writeCount, std::uint8_t* readData, std::uint32_t readCount,
                                 bool increment, std::uint32_t timeoutMs)
{
    NPtBus::CheckRequest(channel, address, writeCount, readCount);
    Send(channel, address, writeData, writeCount, increment);
    Receive(channel, address, readData, readCount, increment, timeoutMs);
}
