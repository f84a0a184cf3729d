// One FPGA on an SPI bus.
#pragma once

#include <cstdint>

/// Frames register accesses: four header bytes, then the payload, least significant byte first. Addresses are
/// multiples of 4 below 4096, payloads 1 to 256 bytes. Used from one thread at a time.
class CHkbFpga
{
public:
    struct SMessage
    {
        const std::uint8_t* mTx; ///< sent first
        std::uint32_t mTxLength; ///< bytes
        std::uint8_t* mRx;       ///< filled with what comes behind, under the same chip select; may be null
        std::uint32_t mRxLength; ///< bytes
    };

    class ITransactLink
    {
    public:
        virtual ~ITransactLink() = default;
        virtual void Transact(SMessage& message) = 0; ///< @throws CException when the bus fails
    };

    enum EAddrMode : std::uint8_t
    {
        eAddrFixed = 0,     ///< all elements at one address, a FIFO
        eAddrIncrement = 1, ///< the address advances with the elements
    };

    static constexpr std::uint32_t kHeaderSize = 4;
    static constexpr std::uint32_t kMaxPayload = 256;    ///< bytes
    static constexpr std::uint32_t kAddressLimit = 4096; ///< the first address that there is not

    /// @param link      not owned, must outlive the FPGA
    /// @param deviceId  0 to 127
    /// @throws CException "Hkb device id %u is out of range."
    CHkbFpga(ITransactLink& link, std::uint8_t deviceId);

    /// The header ahead of a payload of so many bytes.
    /// @throws CException "Message payload exceeds %d limit", "Message payload is empty", "Hkb address is not
    /// on 4 byte boundaries.", "Hkb address %d is out of range."
    void FillOutHeader(std::uint8_t (&header)[kHeaderSize], bool isRead, std::uint32_t address,
                       std::uint32_t length, EAddrMode mode) const;

    static void CheckAddress(std::uint32_t address); ///< the last two refusals alone

    /// One register. @throws CException as `FillOutHeader` and the link
    std::uint8_t ReadRegisterB(std::uint32_t address);
    std::uint16_t ReadRegisterH(std::uint32_t address);
    std::uint32_t ReadRegisterW(std::uint32_t address);
    void WriteRegisterB(std::uint32_t address, std::uint8_t value);
    void WriteRegisterH(std::uint32_t address, std::uint16_t value);
    void WriteRegisterW(std::uint32_t address, std::uint32_t value);

    /// A block of at most 256 bytes; counts are bytes (B) and words (W).
    void ReadRegisterBlockB(std::uint32_t address, std::uint8_t* data, std::uint32_t count, EAddrMode mode);
    void ReadRegisterBlockW(std::uint32_t address, std::uint32_t* data, std::uint32_t count, EAddrMode mode);
    void WriteRegisterBlockB(std::uint32_t address, const std::uint8_t* data, std::uint32_t count,
                             EAddrMode mode);
    void WriteRegisterBlockW(std::uint32_t address, const std::uint32_t* data, std::uint32_t count,
                             EAddrMode mode);

private:
    template <typename TElement>
    void ReadBlock(std::uint32_t address, TElement* data, std::uint32_t count, EAddrMode mode);
    template <typename TElement>
    void WriteBlock(std::uint32_t address, const TElement* data, std::uint32_t count, EAddrMode mode);

    ITransactLink& mLink;
    const std::uint8_t mDeviceId;
};
