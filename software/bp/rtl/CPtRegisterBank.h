// The registers of one block, with a copy of what they hold.
#pragma once

#include "software/bp/rtl/CPtResource.h"
#include "software/bp/rtl/IPtBus.h"

#include <cstdint>
#include <memory>

/// Addresses are byte offsets in the bank, multiples of 4; one that equals the bank's size passes too. A
/// field is given by its shift, 0 to 31, and a mask that is already in position.
///
/// The shadow holds what was last read or written. Writing changes the shadow first and then sends, so that a
/// transfer that fails leaves the new value there. Banks cut from a bank share its shadow, which is plain
/// memory without a lock. Nothing is allocated after the construction.
class CPtRegisterBank : public CPtResource
{
public:
    /// A bank of its own, the shadow all 0.
    /// @param size  bytes
    /// @throws CException as `CPtResource`; "Register bank at %#x of %#x bytes exceeds 16 bit addresses"
    CPtRegisterBank(IPtBus& bus, std::uint8_t channel, std::uint32_t base, std::uint32_t size);

    /// A part of another bank, whose shadow it shares. The parent must outlive it.
    /// @throws CException as `AddressCheck` of the parent, for the first and the last address
    CPtRegisterBank(CPtRegisterBank& parent, std::uint32_t offset, std::uint32_t size);

    CPtRegisterBank(const CPtRegisterBank&) = delete;
    CPtRegisterBank& operator=(const CPtRegisterBank&) = delete;

    /// The shadow alone.
    std::uint32_t ReadShadowBits(std::uint32_t addr, std::uint32_t shift, std::uint32_t mask) const
    {
        return (mShadow[CheckField(addr, shift)] & mask) >> shift;
    }
    void WriteShadowBits(std::uint32_t addr, std::uint32_t value, std::uint32_t shift, std::uint32_t mask)
    {
        std::uint32_t& word = mShadow[CheckField(addr, shift)];
        word ^= ((value << shift) ^ word) & mask;
    }

    /// Reads the word into the shadow, then as `ReadShadowBits`.
    /// @throws CException as `AddressCheck` and the bus
    std::uint32_t ReadField(std::uint32_t addr, std::uint32_t shift, std::uint32_t mask)
    {
        std::uint32_t& word = mShadow[CheckField(addr, shift)];
        const std::uint32_t* const nothing = nullptr;
        GetBus().Request(GetChannel(), HwAddr(addr), nothing, 0, &word, 1, true, kTimeoutMs);
        return (word & mask) >> shift;
    }
    /// As `WriteShadowBits`, then sends the word; does not wait.
    /// @throws CException as `AddressCheck` and the bus
    void WriteField(std::uint32_t addr, std::uint32_t value, std::uint32_t shift, std::uint32_t mask)
    {
        WriteShadowBits(addr, value, shift, mask);
        GetBus().Send(GetChannel(), HwAddr(addr), &mShadow[ShadowIndex(addr)], 1, false);
    }
    /// The same, and waits for the device's reply.
    void WriteFieldWait(std::uint32_t addr, std::uint32_t value, std::uint32_t shift, std::uint32_t mask);

    /// Sends words of the shadow to successive registers; the second form waits for the device's reply.
    /// @throws CException as `AddressCheck` for addr and addr + count x 4, and the bus
    void ApplyShadowRange(std::uint32_t addr, std::uint32_t count);
    void ApplyShadowRangeWait(std::uint32_t addr, std::uint32_t count);
    /// Reads words into the shadow. @throws CException as `ApplyShadowRange`
    void RefreshShadowRange(std::uint32_t addr, std::uint32_t count, std::uint32_t timeoutMs);

    void Flush(std::uint32_t timeoutMs); ///< returns once the device has taken all that was sent before

    /// Bytes of successive registers, in the order of memory; they may begin and end inside a word, but not
    /// outside the bank. Reading refreshes length / 4 words, rounded up, from the word of addr on: at an
    /// address inside a word the last bytes may come from the shadow as it was. Writing sends every word that
    /// it touches.
    /// @throws CException as `AddressCheck` and the bus
    void ReadData(void* dst, std::uint32_t addr, std::uint32_t length, std::uint32_t timeoutMs);
    void WriteData(const void* src, std::uint32_t addr, std::uint32_t length);
    void WriteDataWait(const void* src, std::uint32_t addr, std::uint32_t length, std::uint32_t timeoutMs);

    std::uint16_t HwAddr(std::uint32_t addr) const noexcept ///< as it goes over the bus
    {
        return static_cast<std::uint16_t>(GetBase() + addr);
    }
    static std::uint32_t ShadowIndex(std::uint32_t addr) noexcept { return addr / kAlignment; }

    /// @throws CException "Address must be aligned to 32 bit boundary (%#x)", "Address out of range (%#x).
    /// Bank size: %#x"
    void AddressCheck(std::uint32_t addr) const
    {
        CheckAlignment(addr);
        if (addr > mSize)
            ThrowOutOfRange(addr);
    }

    std::uint32_t GetSize() const noexcept { return mSize; } ///< bytes
    bool OwnsShadow() const noexcept { return mOwned != nullptr; }

private:
    static constexpr std::uint32_t kTimeoutMs = 10;
    static constexpr std::uint32_t kWordBits = 32;

    [[noreturn]] void ThrowOutOfRange(std::uint32_t addr) const;
    [[noreturn]] static void ThrowBadShift(std::uint32_t shift);

    // Index of the word in the shadow.
    std::uint32_t CheckField(std::uint32_t addr, std::uint32_t shift) const
    {
        AddressCheck(addr);
        if (shift >= kWordBits)
            ThrowBadShift(shift);
        return ShadowIndex(addr);
    }
    std::uint32_t CheckPart(std::uint32_t offset, std::uint32_t size) const;
    void RangeCheck(std::uint32_t addr, std::uint32_t count) const;
    unsigned char* BytesCheck(const void* buffer, std::uint32_t addr, std::uint32_t length) const;

    const std::uint32_t mSize;
    const std::unique_ptr<std::uint32_t[]> mOwned; // null in a bank that was cut from another
    std::uint32_t* const mShadow; // one word more than the size has, for the address that equals it
};
