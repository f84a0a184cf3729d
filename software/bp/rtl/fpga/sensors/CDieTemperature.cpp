// The sample is masked first and shifted then.
#include "software/bp/rtl/fpga/sensors/CDieTemperature.h"

#include "software/utility/CException.h"

namespace
{
constexpr char kSource[] = "software/bp/rtl/fpga/sensors/CDieTemperature";
constexpr double kFullScale = 0.000244140625; // of the 12-bit code: 1/4096
constexpr std::uint32_t kWordBits = 32;

// °C = code * gain / 4096 - offset
struct SFormula
{
    double mGain;
    double mOffset;
};
constexpr SFormula kFirst{503.975, 273.15};
constexpr SFormula kSecond{501.3743, 273.6777};

const SFormula& Choose(bool useSecond) noexcept
{
    return useSecond ? kSecond : kFirst;
}

std::uint32_t CheckShift(std::uint32_t shift)
{
    if (shift >= kWordBits)
        throw CException("CDieTemperature", kSource, __LINE__, false, "Sample shift out of range (%u)",
                         shift);
    return shift;
}

constexpr NFpga::CDieTemperature::SMap kMap = {{
    {"Sample", 0x0, 0, 0xFFF, NFpga::EFieldKind::ReadOnly, 0, "", "latest sample of the die's temperature"},
}};
static_assert(NFpga::IsSoundMap(kMap, NFpga::CDieTemperature::kReferenceSize));
} // namespace

const NFpga::CDieTemperature::SMap NFpga::CDieTemperature::kReference = kMap;

NFpga::CDieTemperature::CDieTemperature(IPtBus& bus, unsigned char channel, unsigned int base,
                                        unsigned int size, std::uint32_t shift, bool useSecondFormula,
                                        const SMap& map)
    : mFields(bus, channel, base, size, map)
    , mShift(CheckShift(shift))
    , mUseSecondFormula(useSecondFormula)
{
}

NFpga::CDieTemperature::CDieTemperature(CPtRegisterBank& parent, unsigned int offset, unsigned int size,
                                        std::uint32_t shift, bool useSecondFormula, const SMap& map)
    : mFields(parent, offset, size, map)
    , mShift(CheckShift(shift))
    , mUseSecondFormula(useSecondFormula)
{
}

std::uint32_t NFpga::CDieTemperature::ReadCode()
{
    return mFields.Read(eSample) >> mShift;
}

double NFpga::CDieTemperature::ReadTemperatureHiPrecision()
{
    const SFormula& formula = Choose(mUseSecondFormula);
    return ReadCode() * formula.mGain * kFullScale - formula.mOffset;
}

int NFpga::CDieTemperature::ReadTemperature()
{
    const SFormula& formula = Choose(mUseSecondFormula);
    return static_cast<int>(static_cast<float>(ReadCode()) * static_cast<float>(formula.mGain) *
                                static_cast<float>(kFullScale) -
                            static_cast<float>(formula.mOffset));
}

void NFpga::CDieTemperature::OverrideTemperatureProperties(int a, int b, int c, int d)
{
    mOverride = {a, b, c, d};
    mIsOverridden = true;
}

bool NFpga::CDieTemperature::GetOverridenTemperatureProperties(int& a, int& b, int& c, int& d) const
{
    if (!mIsOverridden)
        return false;
    a = mOverride[0];
    b = mOverride[1];
    c = mOverride[2];
    d = mOverride[3];
    return true;
}
