// An I2C master inside the FPGA, over any register bus.
#pragma once

#include "software/bp/rtl/CI2cFpga.h"
#include "software/bp/rtl/CPtMemoryPort.h"
#include "software/bp/rtl/CPtRegisterBank.h"

#include <string>

/// Gives `CI2cFpga` its registers.
class CI2cPtBus : public CI2cFpga
{
public:
    /// @param clock  of the time-outs; not owned, must outlive it, like the bus
    /// @param name   of the bus, for messages
    CI2cPtBus(IPtBus& bus, std::uint8_t channel, std::uint32_t base, const IMonotonicClock& clock,
              std::string name);

    const char* GetName() const override { return mName.c_str(); }

private:
    std::uint32_t ReadRegister(ERegister address) override;
    void WriteRegister(ERegister address, std::uint32_t value) override;
    void WriteFifo(const std::uint8_t* data, std::uint32_t length) override;
    void ReadFifo(std::uint8_t* data, std::uint32_t length) override;

    const std::string mName;
    CPtRegisterBank mBank;
    CPtMemoryPort mRxFifo;
    CPtMemoryPort mTxFifo;
};
