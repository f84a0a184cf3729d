// A memory of an FPGA behind an address register and a data port.
#pragma once

#include "software/bp/rtl/CPtMemoryPort.h"
#include "software/bp/rtl/CPtRegisterBank.h"

#include <cstdint>

/// Register 0 of the bank takes the address in the memory, in the memory's own unit; the elements then go
/// through the port, and the memory advances by itself.
class CPtAddressedMemoryPort : public CPtRegisterBank
{
public:
    /// @param size        bytes of the bank
    /// @param dataOffset  of the port in the bank
    /// @throws CException as `CPtRegisterBank` and `CPtMemoryPort`
    CPtAddressedMemoryPort(IPtBus& bus, std::uint8_t channel, std::uint32_t base, std::uint32_t size,
                           std::uint32_t dataOffset);
    /// The same, cut from another bank, which must outlive it.
    CPtAddressedMemoryPort(CPtRegisterBank& parent, std::uint32_t offset, std::uint32_t size,
                           std::uint32_t dataOffset);

    /// @param timeoutMs  as in `CPtMemoryPort::Write`
    /// @throws CException as the bus
    void WriteDataAtAddress(std::uint32_t address, const std::uint32_t* data, std::uint32_t count,
                            std::uint32_t timeoutMs);
    void WriteDataAtAddress(std::uint32_t address, const std::uint8_t* data, std::uint32_t count,
                            std::uint32_t timeoutMs);
    void ReadDataAtAddress(std::uint32_t address, std::uint32_t* data, std::uint32_t count,
                           std::uint32_t timeoutMs);
    void ReadDataAtAddress(std::uint32_t address, std::uint8_t* data, std::uint32_t count,
                           std::uint32_t timeoutMs);

private:
    void SetAddress(std::uint32_t address);

    CPtMemoryPort mPort;
};
