// An AXI4-Lite master in the simulated FPGA, with registers behind it.
#pragma once

#include "simulator/CSimulatedBusy.h"
#include "simulator/ISimulatedBlock.h"

#include <cstdint>
#include <map>

/// 16 bytes of registers; what is behind holds what was written. Used from one thread only.
class CSimulatedAxi4lMaster : public ISimulatedBlock
{
public:
    std::uint32_t Read(std::uint32_t offset) override;
    void Write(std::uint32_t offset, std::uint32_t value) override;

    void SetMode(CSimulatedBusy::EMode mode) noexcept { mBusy.SetMode(mode); }
    std::uint32_t GetLastCommand() const noexcept { return mCommand; } ///< of the control register

private:
    CSimulatedBusy mBusy;
    std::uint32_t mCommand = 0;
    std::uint32_t mAddress = 0;
    std::uint32_t mWriteData = 0;
    std::uint32_t mReadData = 0;
    std::map<std::uint32_t, std::uint32_t> mSpace;
};
