// The I2C master of the simulated FPGA.
#pragma once

#include "simulator/CSimulatedSerialMaster.h"

#include <map>

class ISimulatedChip;

class CSimulatedI2cMaster : public CSimulatedSerialMaster
{
public:
    void AddChip(std::uint8_t device, ISimulatedChip& chip)
    {
        mChips[device] = &chip;
    } ///< must outlive the master

private:
    void Run(std::uint32_t control, const std::vector<std::uint8_t>& tx,
             std::vector<std::uint8_t>& rx) override;
    std::uint32_t GetStatus(bool isReady, bool isDone, bool hasOverflow) const override;

    std::map<std::uint32_t, ISimulatedChip*> mChips;
    bool mHasAcknowledge = true;
};
