// The register bus of the FPGAs.
#pragma once

#include <cstdint>

/// Carries register writes, register reads and requests to a numbered channel (an FPGA block or port) at a
/// byte address. Counts are elements of the buffer's type. "increment" sends successive elements to
/// successive addresses; without it all go to the same one, a FIFO. A count of 0 never touches its pointer; a
/// null buffer with another count is refused.
///
/// The buses take no locks: one thread at a time. They keep no error state: each failure is a `CException`,
/// and the next call starts afresh. The order of the virtual operations is fixed.
class IPtBus
{
public:
    virtual ~IPtBus() = default;

    /// Raw packet with header fields built by the caller, and a payload. Only the PCIe link has packets.
    /// @throws CException "Not implemented" on every other bus
    virtual void Send(std::uint8_t opcode, std::uint8_t tag, std::uint16_t first, std::uint16_t second,
                      const std::uint32_t* data, std::uint32_t count, bool flag11, bool flag10, bool flag9,
                      bool flag8);
    virtual void Send(std::uint8_t opcode, std::uint8_t tag, std::uint16_t first, std::uint16_t second,
                      const std::uint8_t* data, std::uint32_t count, bool flag11, bool flag10, bool flag9,
                      bool flag8);
    /// Raw control packet without payload.
    /// @throws CException "Not implemented" on every bus but the PCIe link
    virtual void Send(std::uint8_t select, std::uint8_t tag, std::uint8_t target, bool flag52, bool flag44,
                      bool flag40, bool flag48);

    /// Register write; does not wait for the device.
    virtual void Send(std::uint8_t channel, std::uint16_t address, const std::uint32_t* data,
                      std::uint32_t count, bool increment) = 0;
    virtual void Send(std::uint8_t channel, std::uint16_t address, const std::uint8_t* data,
                      std::uint32_t count, bool increment) = 0;

    /// Register read.
    virtual void Receive(std::uint8_t channel, std::uint16_t address, std::uint32_t* data,
                         std::uint32_t count, bool increment, std::uint32_t timeoutMs) = 0;
    virtual void Receive(std::uint8_t channel, std::uint16_t address, std::uint8_t* data, std::uint32_t count,
                         bool increment, std::uint32_t timeoutMs) = 0;

    /// Writes or reads, and waits for the device's reply; with neither it waits until all that was sent
    /// before has been taken.
    /// @throws CException "PtBus Request: [%d][0x%04X]:Request should not read and write in a single
    /// transaction, this is a firmware limitation" when both counts are above 0
    virtual void Request(std::uint8_t channel, std::uint16_t address, const std::uint32_t* writeData,
                         std::uint32_t writeCount, std::uint32_t* readData, std::uint32_t readCount,
                         bool increment, std::uint32_t timeoutMs) = 0;
    virtual void Request(std::uint8_t channel, std::uint16_t address, const std::uint8_t* writeData,
                         std::uint32_t writeCount, std::uint8_t* readData, std::uint32_t readCount,
                         bool increment, std::uint32_t timeoutMs) = 0;

    virtual void EnableTx(bool enable); ///< nothing to switch, unless the bus has a link of its own
    virtual void EnableRx(bool enable); ///< the same

    virtual bool IsDmaAvailable(); ///< false unless the bus has DMA
    virtual bool IsDmaReady();     ///< false without DMA
    virtual void DmaReset();       ///< nothing without DMA
    /// @throws CException "Not supported" without DMA
    virtual void DmaSend(std::uint8_t channel, std::uint16_t address, const std::uint8_t* data,
                         std::uint32_t length, bool increment, const std::uint8_t* second,
                         std::uint32_t secondLength, std::uint32_t reserved);
};
