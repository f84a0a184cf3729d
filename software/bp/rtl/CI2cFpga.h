// I2C transfers by a master that has registers.
#pragma once

#include "software/utility/CTimer.h"

#include <cstdint>

/// The transfer logic; how the registers are reached is left to the derived class. Registers of the master:
///
///     0  control   bit 0 start, bit 7 abort (both clear themselves; abort also empties the FIFOs),
///                  bits 8-14 device, bits 16-23 bytes to write, bits 24-31 bytes to read
///        status    bit 1 ready, bit 2 done, bit 3 not acknowledged
///     4  received  bits 0-7 bytes in the receive FIFO
///     8  receive FIFO, 12 transmit FIFO: one byte a word, in bits 0-7
///
/// A transaction is: wait for ready, fill the transmit FIFO, write control with start set, wait for done,
/// look at bit 3 and the bytes received, empty the receive FIFO. It writes first and then, after a repeated
/// start, reads. All its waits together take 100 ms at most; one that fails is aborted. One that the register
/// bus cut short is aborted when the next one begins, which so finds empty FIFOs.
///
/// Lengths are 0 to 255 bytes, devices 7 bits. Used from one thread at a time.
class CI2cFpga
{
public:
    virtual ~CI2cFpga() = default;

    /// @throws CException "I2C %s: device %#x cannot be sent %u and asked for %u bytes" (also for both 0 and
    /// for a null buffer), "I2C %s: master not ready", "I2C %s: no end of the transfer with device %#x", "I2C
    /// %s: device %#x does not acknowledge", "I2C %s: device %#x gave %u bytes of %u", with the name in
    /// front; and as the bus
    void Write(std::uint8_t device, const std::uint8_t* tx, std::uint32_t txLength);
    void Read(std::uint8_t device, std::uint8_t* rx, std::uint32_t rxLength);
    void WriteRead(std::uint8_t device, const std::uint8_t* tx, std::uint32_t txLength, std::uint8_t* rx,
                   std::uint32_t rxLength);

    /// The same, for a device that may be busy.
    /// @returns false when it does not acknowledge; every other failure throws
    bool TryWriteRead(std::uint8_t device, const std::uint8_t* tx, std::uint32_t txLength, std::uint8_t* rx,
                      std::uint32_t rxLength);

    virtual const char* GetName() const = 0; ///< of the bus, for messages

    enum ERegister : std::uint32_t ///< byte offsets
    {
        eControl = 0,
        eReceived = 4,
        eRxFifo = 8,
        eTxFifo = 12,
    };
    enum EControl : std::uint32_t ///< bits of the control register
    {
        eStart = 1u << 0,
        eReady = 1u << 1,
        eDone = 1u << 2,
        eNoAcknowledge = 1u << 3,
        eAbort = 1u << 7,
    };
    static constexpr std::uint32_t kDeviceShift = 8;
    static constexpr std::uint32_t kTxShift = 16;
    static constexpr std::uint32_t kRxShift = 24;
    static constexpr std::uint8_t kLastDevice = 0x7F;
    static constexpr std::uint32_t kMaxLength = 255;

protected:
    /// @param clock  of the time-outs; not owned, must outlive it
    explicit CI2cFpga(const IMonotonicClock& clock)
        : mTimer(clock)
    {
    }

    virtual std::uint32_t ReadRegister(ERegister address) = 0;
    virtual void WriteRegister(ERegister address, std::uint32_t value) = 0;
    virtual void WriteFifo(const std::uint8_t* data, std::uint32_t length) = 0;
    virtual void ReadFifo(std::uint8_t* data, std::uint32_t length) = 0;

private:
    void Abort();
    bool Await(EControl bit);
    [[noreturn]] void Fail(const char* format, ...) __attribute__((format(printf, 2, 3)));

    CTimer mTimer;
    bool mIsUnfinished = false; // a transaction neither ended nor was aborted
};
