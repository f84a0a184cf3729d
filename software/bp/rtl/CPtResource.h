// A place on a register bus.
#pragma once

#include <cstdint>

class IPtBus;

/// Channel and base address of something in an FPGA. The bus is not owned and must outlive it.
class CPtResource
{
public:
    /// @param channel  0 to 63
    /// @param base     bytes, a multiple of 4
    /// @throws CException "Channel out of range (%u)", "Address must be aligned to 32 bit boundary (%#x)"
    CPtResource(IPtBus& bus, std::uint8_t channel, std::uint32_t base);

    IPtBus& GetBus() const noexcept { return mBus; }
    std::uint8_t GetChannel() const noexcept { return mChannel; }
    std::uint32_t GetBase() const noexcept { return mBase; } ///< bytes

    /// @throws CException "Address must be aligned to 32 bit boundary (%#x)"
    static void CheckAlignment(std::uint32_t address)
    {
        if (address % kAlignment != 0)
            ThrowMisaligned(address);
    }

    static constexpr std::uint32_t kAlignment = 4;

private:
    [[noreturn]] static void ThrowMisaligned(std::uint32_t address);

    IPtBus& mBus;
    const std::uint8_t mChannel;
    const std::uint32_t mBase;
};
