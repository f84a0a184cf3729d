// The register bus over a PCIe link with DMA.
#pragma once

#include "software/bp/rtl/CPtBusPcie.h"

/// Sends large blocks past the packets. `Initialize` switches the DMA on and `Reset` off.
class CPtBusPcieDma : public CPtBusPcie
{
public:
    using CPtBusPcie::CPtBusPcie;

    void Initialize() override; ///< @throws CException too "PtBus DMA %s failed" with the system error
    void Reset() override;      ///< the same

    bool IsDmaAvailable() override { return true; }
    bool IsDmaReady() override; ///< false too when the driver does not answer
    void DmaReset() override;   ///< @throws CException "PtBus DMA %s failed" with the system error

    /// Starts a transfer to one address. The driver reads both buffers; they stay as they are until it is
    /// ready again.
    /// @param second    a second block that the driver takes too, or null
    /// @param reserved  not used
    /// @throws CException "Unsupported incrementing address mode", "PtBus DMA %s failed" with the system
    /// error
    void DmaSend(std::uint8_t channel, std::uint16_t address, const std::uint8_t* data, std::uint32_t length,
                 bool increment, const std::uint8_t* second, std::uint32_t secondLength,
                 std::uint32_t reserved) override;

private:
    void Control(unsigned long request, void* record, const char* what);
    void Enable(std::uint32_t on);
};
