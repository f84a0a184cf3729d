// The register bus over a window of mapped memory.
#pragma once

#include "software/bp/rtl/IPtBus.h"

/// Reads and writes the window directly; the channel is ignored, and no time-out applies. A word lies at
/// element address / 4. Bytes are written one by one from the byte address on, whether incrementing or not;
/// they are read as whole words, of which the last may be used in part. What would leave the window is
/// refused before anything is touched.
class CPtBusLocal : public IPtBus
{
public:
    /// @param base      of the window, aligned to 4 bytes; not owned, must outlive the bus
    /// @param size      bytes
    /// @param swapBytes whether each word has the other byte order than this machine
    /// @throws CException "PtBus local: The window is not mapped on a 4 byte boundary"
    CPtBusLocal(volatile void* base, std::uint32_t size, bool swapBytes);

    using IPtBus::Send; // raw packets are not implemented

    /// @throws CException "PtBus local: [0x%04X]: %u bytes lie outside the window of %#x bytes"
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
    void CheckWords(std::uint8_t channel, std::uint16_t address, const void* data, std::uint32_t count,
                    bool increment) const;

    void ReadWords(std::uint8_t channel, std::uint16_t address, std::uint32_t* data, std::uint32_t count,
                   bool increment) const;

    volatile std::uint32_t* const mBase;
    const std::uint32_t mSize; // bytes
    const bool mSwapBytes;
};
