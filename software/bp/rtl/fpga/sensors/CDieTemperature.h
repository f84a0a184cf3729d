// The temperature sensor inside an FPGA.
#pragma once

#include "software/bp/rtl/fpga/CFieldBank.h"

#include <array>
#include <cstdint>

namespace NFpga
{
/// Turns the sensor's samples into degrees. Two generations of sensors differ in their formula. Used from one
/// thread.
class CDieTemperature
{
public:
    enum EField
    {
        eSample,
        kFieldCount,
    };
    using SMap = std::array<SField, kFieldCount>;
    static const SMap kReference; ///< the map of the reference design
    static constexpr std::uint32_t kReferenceSize = 0x10;

    /// @param size              of the block, bytes
    /// @param shift             applied to the sample, for sensors that align it to the left; 0 to 31
    /// @param useSecondFormula  whether it is a sensor of the second generation
    /// @param map               must outlive it
    /// @throws CException as `CFieldBank`; "Sample shift out of range (%u)"
    CDieTemperature(IPtBus& bus, unsigned char channel, unsigned int base, unsigned int size,
                    std::uint32_t shift, bool useSecondFormula, const SMap& map = kReference);
    /// The same, cut from a larger bank, which must outlive it.
    CDieTemperature(CPtRegisterBank& parent, unsigned int offset, unsigned int size, std::uint32_t shift,
                    bool useSecondFormula, const SMap& map = kReference);

    /// @returns °C; @throws CException as the bus
    double ReadTemperatureHiPrecision();
    int ReadTemperature(); ///< the same, cut towards zero

    /// Four values that stand in for properties of the sensor; it only keeps them.
    void OverrideTemperatureProperties(int a, int b, int c, int d);
    /// @returns false, and leaves the four as they are, when there was no override
    bool GetOverridenTemperatureProperties(int& a, int& b, int& c, int& d) const;

private:
    std::uint32_t ReadCode();

    CFieldBank mFields;
    const std::uint32_t mShift;
    const bool mUseSecondFormula;
    bool mIsOverridden = false;
    std::array<int, 4> mOverride{};
};
} // namespace NFpga
