// Registers through a bank, FIFOs through ports.
#include "software/bp/rtl/CI2cPtBus.h"

#include "software/bp/rtl/NByteFifo.h"

#include <utility>

namespace
{
constexpr std::uint32_t kBankSize = 8;
constexpr std::uint32_t kWholeWord = 0xFFFFFFFF;
} // namespace

CI2cPtBus::CI2cPtBus(IPtBus& bus, std::uint8_t channel, std::uint32_t base, const IMonotonicClock& clock,
                     std::string name)
    : CI2cFpga(clock)
    , mName(std::move(name))
    , mBank(bus, channel, base, kBankSize)
    , mRxFifo(bus, channel, base + eRxFifo)
    , mTxFifo(bus, channel, base + eTxFifo)
{
}

std::uint32_t CI2cPtBus::ReadRegister(ERegister address)
{
    return mBank.ReadField(address, 0, kWholeWord);
}

void CI2cPtBus::WriteRegister(ERegister address, std::uint32_t value)
{
    mBank.WriteFieldWait(address, value, 0, kWholeWord);
}

void CI2cPtBus::WriteFifo(const std::uint8_t* data, std::uint32_t length)
{
    NByteFifo::Write(mTxFifo, data, length);
}

void CI2cPtBus::ReadFifo(std::uint8_t* data, std::uint32_t length)
{
    NByteFifo::Read(mRxFifo, data, length);
}
