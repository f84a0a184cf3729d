// Test patterns that the formatter makes by itself.
#pragma once

#include "software/bp/rtl/fpga/CFieldBank.h"

#include <array>
#include <cstdint>

namespace NFpga
{
/// The formatter shows a pattern instead of the picture. Colours and grey levels have 12 bits. What is out of
/// range is refused before anything is written. Used from one thread.
class CFormatterTestPattern
{
public:
    enum EField
    {
        ePattern,
        eRed,
        eGreen,
        eBlue,
        eLowGrey,
        eHighGrey,
        eActiveWidth,
        eActiveHeight,
        eTotalWidth,
        eTotalHeight,
        kFieldCount,
    };
    using SMap = std::array<SField, kFieldCount>;
    static const SMap kReference; ///< the map of the reference design
    static constexpr std::uint32_t kReferenceSize = 0x20;

    enum EPattern
    {
        eOff,
        eGrid,
        eWhite,
        eBlack,
        eColourBars,
        kPatternCount,
    };

    struct STiming
    {
        std::uint32_t mActiveWidth;  ///< pixels, 1 and more
        std::uint32_t mActiveHeight; ///< lines, 1 and more
        std::uint32_t mTotalWidth;   ///< pixels with blanking, above the active ones, at most 65535
        std::uint32_t mTotalHeight;  ///< lines with blanking, above the active ones, at most 65535
    };

    /// @param size  of the block, bytes
    /// @param map   red and green, and each pair of width and height, are in one word; must outlive it
    /// @throws CException as `CFieldBank`
    CFormatterTestPattern(IPtBus& bus, unsigned char channel, unsigned int base, unsigned int size,
                          const SMap& map = kReference);
    /// The same, cut from a larger bank, which must outlive it.
    CFormatterTestPattern(CPtRegisterBank& parent, unsigned int offset, unsigned int size,
                          const SMap& map = kReference);

    /// @throws CException "There is no test pattern %d", and as the bus, like all of the following
    void SetPattern(EPattern pattern);
    /// Of the lines of a grid. @param red, green, blue  0 to 4095
    void SetColor(std::uint32_t red, std::uint32_t green, std::uint32_t blue);
    /// @throws CException "Impossible timing: %ux%u of %ux%u"
    void SetTiming(const STiming& timing);
    void SetLowGreyLevel(std::uint32_t level);  ///< what black is, 0 to 4095
    void SetHighGreyLevel(std::uint32_t level); ///< what white is, 0 to 4095

private:
    CFieldBank mFields;
};
} // namespace NFpga
