// What the SPI and the I2C master of the simulated FPGA have in common.
#pragma once

#include "simulator/CSimulatedBusy.h"
#include "simulator/ISimulatedBlock.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// 16 bytes of registers: control and status, bytes received, receive FIFO, transmit FIFO; the FIFOs hold one
/// byte a word. A failing master loses the last byte it received. Used from one thread only.
class CSimulatedSerialMaster : public ISimulatedBlock
{
public:
    std::uint32_t Read(std::uint32_t offset) override;
    void Write(std::uint32_t offset, std::uint32_t value) override;

    void SetMode(CSimulatedBusy::EMode mode) noexcept { mBusy.SetMode(mode); }
    unsigned GetAborts() const noexcept { return mAborts; }

    static constexpr std::size_t kFifoDepth = 512; ///< bytes

protected:
    /// Runs what control asks for: takes the transmit FIFO, fills the receive FIFO.
    virtual void Run(std::uint32_t control, const std::vector<std::uint8_t>& tx,
                     std::vector<std::uint8_t>& rx) = 0;
    virtual std::uint32_t GetStatus(bool isReady, bool isDone, bool hasOverflow) const = 0; ///< bits to read

private:
    void Start(std::uint32_t control);
    void Abort();

    CSimulatedBusy mBusy;
    std::uint32_t mControl = 0;
    std::vector<std::uint8_t> mTx;
    std::vector<std::uint8_t> mRx;
    std::size_t mRxTaken = 0;
    bool mHasOverflow = false;
    bool mHasRun = false;
    unsigned mAborts = 0;
};
