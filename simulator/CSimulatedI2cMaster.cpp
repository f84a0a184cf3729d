// The bits of its control register, and who is on the bus.
#include "simulator/CSimulatedI2cMaster.h"

#include "simulator/ISimulatedChip.h"
#include "software/bp/rtl/CI2cFpga.h"

void CSimulatedI2cMaster::Run(std::uint32_t control, const std::vector<std::uint8_t>& tx,
                              std::vector<std::uint8_t>& rx)
{
    const auto chip = mChips.find(control >> CI2cFpga::kDeviceShift & CI2cFpga::kLastDevice);
    rx.resize(control >> CI2cFpga::kRxShift);
    mHasAcknowledge = chip != mChips.end() && chip->second->Transfer(tx, rx);
    if (!mHasAcknowledge)
        rx.clear();
}

std::uint32_t CSimulatedI2cMaster::GetStatus(bool isReady, bool isDone, bool) const
{
    return (isReady ? CI2cFpga::eReady : 0u) | (isDone ? CI2cFpga::eDone : 0u) |
           (isDone && !mHasAcknowledge ? CI2cFpga::eNoAcknowledge : 0u);
}
