// One write a colour, so that no other one flashes up between.
#include "software/bp/rtl/fpga/sensors/CLedTriColor.h"

namespace
{
using NFpga::EFieldKind;

constexpr NFpga::CLedTriColor::SMap kMap = {{
    {"Red", 0x0, 0, 0x1, EFieldKind::ReadWrite, 0, "", "red light on"},
    {"Green", 0x0, 1, 0x2, EFieldKind::ReadWrite, 0, "", "green light on"},
    {"Blue", 0x0, 2, 0x4, EFieldKind::ReadWrite, 0, "", "blue light on"},
}};
static_assert(NFpga::IsSoundMap(kMap, NFpga::CLedTriColor::kReferenceSize));

std::uint32_t Bit(unsigned color, unsigned number) noexcept
{
    return color >> number & 1;
}
} // namespace

const NFpga::CLedTriColor::SMap NFpga::CLedTriColor::kReference = kMap;

NFpga::CLedTriColor::CLedTriColor(IPtBus& bus, unsigned char channel, unsigned int base, unsigned int size,
                                  const SMap& map)
    : mFields(bus, channel, base, size, map)
{
}

NFpga::CLedTriColor::CLedTriColor(CPtRegisterBank& parent, unsigned int offset, unsigned int size,
                                  const SMap& map)
    : mFields(parent, offset, size, map)
{
}

void NFpga::CLedTriColor::SetColor(EColor color)
{
    mFields.WriteSeveral(
        {{eRedLight, Bit(color, 0)}, {eGreenLight, Bit(color, 1)}, {eBlueLight, Bit(color, 2)}});
}
