// A serial EEPROM of the 24xx family on an I2C bus.
#pragma once

#include "software/include/IEeprom.h"
#include "software/utility/CTimer.h"

#include <cstdint>

class CI2cFpga;
class ILog;

/// A transaction begins with the address of a byte, one or two bytes of it, most significant first; what does
/// not fit there goes into the lower bits of the device number. Data behind it is written, inside one page,
/// since the chip would go round at its end; a read goes on from the address.
///
/// The chip is deaf while it writes. Every transaction is therefore repeated until it is acknowledged, for as
/// long as a write may take; `Write` and `Erase` return when the last write has come to its end. They block
/// that long: some 5 ms a page. What fails is logged with its reason; whoever must know that the cells hold
/// what was written reads them back. Used from one thread.
class CI2cEeprom : public IEeprom
{
public:
    struct SKind
    {
        std::uint32_t mSize;         ///< bytes, a multiple of the page
        std::uint32_t mPageSize;     ///< bytes that one write can reach: a power of two, at most 256
        std::uint32_t mAddressBytes; ///< 1 (chips up to 2 KiB) or 2 (up to 512 KiB)
        std::uint32_t mWriteMs;      ///< the longest time that a write of the chip may take
    };

    /// @param bus     not owned, must outlive it, like clock and log
    /// @param device  7 bits; a chip of more than one block also answers to the numbers behind it
    /// @param clock   of the time-outs
    /// @throws CException "EEPROM of %u bytes with pages of %u and %u bytes of address at %#x cannot be"
    CI2cEeprom(CI2cFpga& bus, std::uint8_t device, const SKind& kind, const IMonotonicClock& clock,
               ILog& log);

    std::uint32_t GetSize() const override { return mKind.mSize; }
    bool Read(std::uint32_t offset, std::uint8_t* data, std::uint32_t length) override;
    bool Write(std::uint32_t offset, const std::uint8_t* data, std::uint32_t length) override;
    bool Erase(std::uint32_t offset, std::uint32_t length) override;

private:
    bool IsInside(std::uint32_t offset, std::uint32_t length) const noexcept;
    bool WriteAll(std::uint32_t offset, const std::uint8_t* data, std::uint32_t length);
    bool WritePiece(std::uint32_t offset, const std::uint8_t* data, std::uint32_t length);
    bool Exchange(std::uint32_t offset, const std::uint8_t* tx, std::uint32_t txLength, std::uint8_t* rx,
                  std::uint32_t rxLength);
    std::uint32_t PutAddress(std::uint32_t offset, std::uint8_t* tx) const noexcept;

    CI2cFpga& mBus;
    const std::uint8_t mDevice;
    const SKind mKind;
    const std::uint32_t mBlockSize; // bytes that one device number reaches
    CTimer mTimer;
    ILog& mLog;
};
