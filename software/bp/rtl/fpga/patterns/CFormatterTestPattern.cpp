// Checks, then one word after the other.
#include "software/bp/rtl/fpga/patterns/CFormatterTestPattern.h"

#include "software/utility/CException.h"

namespace
{
using NFpga::EFieldKind;

constexpr char kSource[] = "software/bp/rtl/fpga/patterns/CFormatterTestPattern";
constexpr std::uint32_t kMostTotal = 65535;

constexpr NFpga::CFormatterTestPattern::SMap kMap = {{
    {"Pattern", 0x00, 0, 0xF, EFieldKind::ReadWrite, 0, "", "0 off, 1 grid, 2 white, 3 black, 4 colour bars"},
    {"Red", 0x04, 0, 0xFFF, EFieldKind::ReadWrite, 0xFFF, "", "colour of the grid: red"},
    {"Green", 0x04, 12, 0xFFF000, EFieldKind::ReadWrite, 0xFFF, "", "colour of the grid: green"},
    {"Blue", 0x08, 0, 0xFFF, EFieldKind::ReadWrite, 0xFFF, "", "colour of the grid: blue"},
    {"LowGrey", 0x0C, 0, 0xFFF, EFieldKind::ReadWrite, 0, "", "level of black"},
    {"HighGrey", 0x0C, 16, 0xFFF0000, EFieldKind::ReadWrite, 0xFFF, "", "level of white"},
    {"ActiveWidth", 0x10, 0, 0xFFFF, EFieldKind::ReadWrite, 1920, "pixel", "width of the picture"},
    {"ActiveHeight", 0x10, 16, 0xFFFF0000, EFieldKind::ReadWrite, 1080, "line", "height of the picture"},
    {"TotalWidth", 0x14, 0, 0xFFFF, EFieldKind::ReadWrite, 2200, "pixel", "width with blanking"},
    {"TotalHeight", 0x14, 16, 0xFFFF0000, EFieldKind::ReadWrite, 1125, "line", "height with blanking"},
}};
static_assert(NFpga::IsSoundMap(kMap, NFpga::CFormatterTestPattern::kReferenceSize));

bool IsPossible(std::uint32_t active, std::uint32_t total) noexcept
{
    return active > 0 && active < total && total <= kMostTotal;
}
} // namespace

const NFpga::CFormatterTestPattern::SMap NFpga::CFormatterTestPattern::kReference = kMap;

NFpga::CFormatterTestPattern::CFormatterTestPattern(IPtBus& bus, unsigned char channel, unsigned int base,
                                                    unsigned int size, const SMap& map)
    : mFields(bus, channel, base, size, map)
{
}

NFpga::CFormatterTestPattern::CFormatterTestPattern(CPtRegisterBank& parent, unsigned int offset,
                                                    unsigned int size, const SMap& map)
    : mFields(parent, offset, size, map)
{
}

void NFpga::CFormatterTestPattern::SetPattern(EPattern pattern)
{
    if (pattern < eOff || pattern >= kPatternCount)
        throw CException(__func__, kSource, __LINE__, false, "There is no test pattern %d", int{pattern});
    mFields.WriteWait(ePattern, pattern);
}

void NFpga::CFormatterTestPattern::SetColor(std::uint32_t red, std::uint32_t green, std::uint32_t blue)
{
    mFields.CheckValues({{eRed, red}, {eGreen, green}, {eBlue, blue}});
    mFields.WriteSeveral({{eRed, red}, {eGreen, green}});
    mFields.WriteWait(eBlue, blue);
}

void NFpga::CFormatterTestPattern::SetTiming(const STiming& timing)
{
    if (!IsPossible(timing.mActiveWidth, timing.mTotalWidth) ||
        !IsPossible(timing.mActiveHeight, timing.mTotalHeight))
        throw CException(__func__, kSource, __LINE__, false, "Impossible timing: %ux%u of %ux%u",
                         timing.mActiveWidth, timing.mActiveHeight, timing.mTotalWidth, timing.mTotalHeight);
    mFields.WriteSeveral({{eActiveWidth, timing.mActiveWidth}, {eActiveHeight, timing.mActiveHeight}});
    mFields.WriteSeveral({{eTotalWidth, timing.mTotalWidth}, {eTotalHeight, timing.mTotalHeight}});
}

void NFpga::CFormatterTestPattern::SetLowGreyLevel(std::uint32_t level)
{
    mFields.WriteWait(eLowGrey, level);
}

void NFpga::CFormatterTestPattern::SetHighGreyLevel(std::uint32_t level)
{
    mFields.WriteWait(eHighGrey, level);
}
