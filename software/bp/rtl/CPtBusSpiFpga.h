// The register bus to an FPGA on SPI.
#pragma once

#include "software/bp/rtl/IPtBus.h"

class CHkbFpga;

/// Uses `CHkbFpga`, which knows its device; the channel is ignored, and no time-out applies. What is longer
/// than 256 bytes goes in pieces, the address advancing with them where it increments. All addresses are
/// checked before the first piece goes.
class CPtBusSpiFpga : public IPtBus
{
public:
    explicit CPtBusSpiFpga(CHkbFpga& fpga) noexcept ///< not owned, must outlive the bus
        : mFpga(fpga)
    {
    }

    using IPtBus::Send; // raw packets are not implemented

    /// @throws CException the refusals of `CHkbFpga`
    void Send(std::uint8_t channel, std::uint16_t address, const std::uint32_t* data, std::uint32_t count,
              bool increment) override;
    void Send(std::uint8_t channel, std::uint16_t address, const std::uint8_t* data, std::uint32_t count,
              bool increment) override;
    void Receive(std::uint8_t channel, std::uint16_t address, std::uint32_t* data, std::uint32_t count,
                 bool increment, std::uint32_t timeoutMs) override;
    void Receive(std::uint8_t channel, std::uint16_t address, std::uint8_t* data, std::uint32_t count,
                 bool increment, std::uint32_t timeoutMs) override;
    void Request(std::uint8_t channel, std::uint16_t address, const std::uint32_t* writeData,
                 std::uint32_t writeCount, std::uint32_t* readData, std::uint32_t readCount, bool increment,
                 std::uint32_t timeoutMs) override;
    void Request(std::uint8_t channel, std::uint16_t address, const std::uint8_t* writeData,
                 std::uint32_t writeCount, std::uint8_t* readData, std::uint32_t readCount, bool increment,
                 std::uint32_t timeoutMs) override;

private:
    CHkbFpga& mFpga;
};
