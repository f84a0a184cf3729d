// An AXI4-Lite master inside the FPGA.
#pragma once

#include "software/bp/rtl/CPtRegisterBank.h"
#include "software/bp/rtl/IAxi4l.h"
#include "software/utility/CTimer.h"

/// Registers: 0 control (bit 0 busy), 4 address, 8 write data, 12 read data. Each transaction waits 1 ms at
/// most.
class CAxi4lPtBus : public IAxi4l
{
public:
    /// @param clock  of the time-outs; not owned, must outlive it, like the bus
    CAxi4lPtBus(IPtBus& bus, std::uint8_t channel, std::uint32_t base, const IMonotonicClock& clock);
    /// @param bank  whose first 16 bytes are the master; must outlive it
    /// @param flag  bit 0 goes into bit 4 of the control register of every transaction
    CAxi4lPtBus(CPtRegisterBank& bank, const IMonotonicClock& clock, std::uint32_t flag);

    /// @throws CException "Timeout waiting AXI4-Lite write transaction to finish", and as the bus
    void Write(std::uint32_t address, std::uint32_t value) override;
    /// @throws CException "Timeout waiting AXI4-Lite read transaction to finish", and as the bus
    std::uint32_t Read(std::uint32_t address) override;
    void Write(std::uint32_t address, const std::uint32_t* data, std::uint32_t count) override;
    void Read(std::uint32_t address, std::uint32_t* data, std::uint32_t count) override;

private:
    void WriteWord(std::uint32_t addr, std::uint32_t value);
    void Run(std::uint32_t command, const char* failure);

    CPtRegisterBank mBank;
    const std::uint32_t mFlag = 0;
    CTimer mTimer;
};
