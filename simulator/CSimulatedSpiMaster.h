// The SPI master of the simulated FPGA, with one chip.
#pragma once

#include "simulator/CSimulatedSerialMaster.h"

class ISimulatedChip;

class CSimulatedSpiMaster : public CSimulatedSerialMaster
{
public:
    explicit CSimulatedSpiMaster(ISimulatedChip& chip) noexcept ///< must outlive the master
        : mChip(chip)
    {
    }

private:
    void Run(std::uint32_t control, const std::vector<std::uint8_t>& tx,
             std::vector<std::uint8_t>& rx) override;
    std::uint32_t GetStatus(bool isReady, bool isDone, bool hasOverflow) const override;

    ISimulatedChip& mChip;
};
