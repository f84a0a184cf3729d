// Where the registers' failures become readings that are missing.
#include "software/bp/hwlogic/CFpgaCooling.h"

#include "software/bp/rtl/IPtPages.h"
#include "software/bp/rtl/fpga/NReferenceDesign.h"
#include "software/utility/CException.h"

#include <iterator>
#include <limits>

namespace
{
using namespace NFpga::NReferenceDesign;

constexpr double kNoSample = -273.0; // °C; the sample 0 is a little below
} // namespace

static_assert(std::size(kTemperatures) == kThermalZones);

CFpgaCooling::CFpgaCooling(IPtPages& pages, ICoolingBoard& fans)
    : mFans(fans)
{
    for (std::size_t i = 0; i < kThermalZones; ++i)
    {
        const NFpga::SPlace& place = kTemperatures[i];
        mSensors[i] = std::make_unique<NFpga::CDieTemperature>(pages.GetBus(place.mPage), place.mPage,
                                                               place.mOffset, place.mSize, kTemperatureShift,
                                                               kTemperatureHasSecondFormula);
    }
}

double CFpgaCooling::GetTemperature(EThermalZone zone) const
{
    try
    {
        const double celsius = mSensors[static_cast<std::size_t>(zone)]->ReadTemperatureHiPrecision();
        if (celsius > kNoSample)
            return celsius;
    }
    catch (const CException&) // whoever misses the temperature says so, and acts on it
    {
    }
    return std::numeric_limits<double>::quiet_NaN();
}
