// An SPI master.
#pragma once

#include <cstdint>

/// Lengths are bytes. Used from one thread at a time.
class ISpiBus
{
public:
    virtual ~ISpiBus() = default;

    /// @param selector  which chip on the bus
    virtual void Write(std::uint8_t selector, const std::uint8_t* tx, std::uint32_t txLength) = 0;
    virtual void Read(std::uint8_t selector, std::uint8_t* rx, std::uint32_t rxLength) = 0;
    /// Sends, then receives under the same chip select. @throws CException
    virtual void WriteRead(std::uint8_t selector, const std::uint8_t* tx, std::uint32_t txLength,
                           std::uint8_t* rx, std::uint32_t rxLength) = 0;

    virtual void SetBitOrder(bool leastSignificantFirst) = 0;
    virtual void SetClockPolarity(bool idleHigh) = 0;
    virtual void SetSelectPolarity(bool activeHigh) = 0;
    virtual void SetClockPhase(bool secondEdge) = 0;
    virtual void SetDelays(std::uint32_t beforeNs, std::uint32_t afterNs, std::uint32_t betweenNs) = 0;
    virtual void SetTransferSpeed(std::uint32_t hertz) = 0;
    virtual void SetContinuousClock(bool enable) = 0;
    virtual void SetHalt(bool enable) = 0;
    virtual void SetTransferSize(std::uint32_t bits) = 0;
    virtual void SetDuplexMode(bool full) = 0;

    virtual std::uint32_t GetSupportedSpeed(std::uint32_t hertz) const = 0; ///< the nearest the master has
    virtual bool IsDmaSupported() const = 0;
    virtual std::uint32_t GetBufferSize() const = 0; ///< bytes, 0 when there is none
};
