// A FIFO of an FPGA, seen as one address.
#pragma once

#include "software/bp/rtl/CPtResource.h"

#include <cstdint>

class CPtRegisterBank;

/// All elements go to and come from the same address. A long write goes in chunks of at most 256 elements.
class CPtMemoryPort : public CPtResource
{
public:
    /// @throws CException as `CPtResource`; "Port at %#x exceeds 16 bit addresses"
    CPtMemoryPort(IPtBus& bus, std::uint8_t channel, std::uint32_t address);
    /// @param offset  in the bank, which may go afterwards
    /// @throws CException as `CPtRegisterBank::AddressCheck`
    CPtMemoryPort(const CPtRegisterBank& bank, std::uint32_t offset);

    /// @param timeoutMs  of the device's reply to each chunk; with 0 nothing waits
    /// @throws CException as the bus
    void Write(const std::uint32_t* data, std::uint32_t count, std::uint32_t timeoutMs);
    void Write(const std::uint8_t* data, std::uint32_t count, std::uint32_t timeoutMs);

    /// One request. @throws CException as the bus, for counts above its limit too
    void Read(std::uint32_t* data, std::uint32_t count, std::uint32_t timeoutMs);
    void Read(std::uint8_t* data, std::uint32_t count, std::uint32_t timeoutMs);

    /// One element, waiting 10 ms at most.
    /// @param address  bytes from the port on, 0 for the port itself
    /// @throws CException "Port at %#x exceeds 16 bit addresses", and as the bus
    std::uint32_t Read(std::uint32_t address);
    std::uint8_t ReadByte(std::uint32_t address);

private:
    std::uint16_t AddressAt(std::uint32_t offset) const;
};
