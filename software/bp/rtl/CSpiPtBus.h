// An SPI master inside the FPGA.
#pragma once

#include "software/bp/rtl/CPtMemoryPort.h"
#include "software/bp/rtl/CPtRegisterBank.h"
#include "software/bp/rtl/ISpiBus.h"
#include "software/utility/CTimer.h"

/// The FPGA's design fixes the chip, the clock and the modes, so that the selector is not used and nothing
/// can be configured. Register 0 has control and status, register 4 the number of bytes received; the receive
/// FIFO stands at 8, the transmit FIFO at 12, one byte a word each.
class CSpiPtBus : public ISpiBus
{
public:
    /// @param clock  of the time-outs; not owned, must outlive it, like the bus
    CSpiPtBus(IPtBus& bus, std::uint8_t channel, std::uint32_t base, const IMonotonicClock& clock);

    void Write(std::uint8_t selector, const std::uint8_t* tx,
               std::uint32_t txLength) override;                                         ///< does nothing
    void Read(std::uint8_t selector, std::uint8_t* rx, std::uint32_t rxLength) override; ///< does nothing
    /// The whole transaction takes 100 ms at most; one that fails is aborted, and one that the register bus
    /// cut short is aborted when the next one begins.
    /// @param txLength  1 and more; at most 15 ahead of a read
    /// @param rxLength  0 to 4095
    /// @throws CException "Write buffer cannot be null and write length cannot be zero.", "Read buffer cannot
    /// be null while read length is bigger than 0.", "SPI master cannot write %u and read %u bytes at once.",
    /// "SPI master not ready.", "SPI master TX buffer overflow.", "SPI master transaction timed out.", "SPI
    /// master read, length of data received %d, expected %d.", and as the bus
    void WriteRead(std::uint8_t selector, const std::uint8_t* tx, std::uint32_t txLength, std::uint8_t* rx,
                   std::uint32_t rxLength) override;

    void SetBitOrder(bool) override {}
    void SetClockPolarity(bool) override {}
    void SetSelectPolarity(bool) override {}
    void SetClockPhase(bool) override {}
    void SetDelays(std::uint32_t, std::uint32_t, std::uint32_t) override {}
    void SetTransferSpeed(std::uint32_t) override {}
    void SetContinuousClock(bool) override {}
    void SetHalt(bool) override {}
    void SetTransferSize(std::uint32_t) override {}
    void SetDuplexMode(bool) override {}

    std::uint32_t GetSupportedSpeed(std::uint32_t hertz) const override { return hertz; }
    bool IsDmaSupported() const override { return false; }
    std::uint32_t GetBufferSize() const override { return 0; }

private:
    void AwaitReady();
    void Start(std::uint32_t txLength, std::uint32_t rxLength);
    void CheckReceived(std::uint32_t expected);
    void Abort();

    CPtRegisterBank mBank;
    CPtMemoryPort mRxFifo;
    CPtMemoryPort mTxFifo;
    CTimer mTimer;
    bool mIsUnfinished = false; // a transaction neither ended nor was aborted
};
