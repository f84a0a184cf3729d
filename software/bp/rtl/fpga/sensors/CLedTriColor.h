// A light of three colours, driven by three bits.
#pragma once

#include "software/bp/rtl/fpga/CFieldBank.h"
#include "software/bp/rtl/fpga/sensors/ILedTriColor.h"

#include <array>
#include <cstdint>

namespace NFpga
{
/// Used from one thread.
class CLedTriColor : public ILedTriColor
{
public:
    enum EField
    {
        eRedLight,
        eGreenLight,
        eBlueLight,
        kFieldCount,
    };
    using SMap = std::array<SField, kFieldCount>;
    static const SMap kReference; ///< the map of the reference design
    static constexpr std::uint32_t kReferenceSize = 0x10;

    /// @param size  of the block, bytes
    /// @param map   its three fields are in one word; must outlive it
    /// @throws CException as `CFieldBank`
    CLedTriColor(IPtBus& bus, unsigned char channel, unsigned int base, unsigned int size,
                 const SMap& map = kReference);
    /// The same, cut from a larger bank, which must outlive it.
    CLedTriColor(CPtRegisterBank& parent, unsigned int offset, unsigned int size,
                 const SMap& map = kReference);

    void SetColor(EColor color) override; ///< all three at once; @throws CException as the bus

private:
    CFieldBank mFields;
};
} // namespace NFpga
