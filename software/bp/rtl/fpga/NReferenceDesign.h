// Where the blocks of the reference FPGA design stand.
#pragma once

#include "software/bp/rtl/IPtPages.h"
#include "software/bp/rtl/fpga/SPlace.h"
#include "software/bp/rtl/fpga/patterns/CFormatterTestPattern.h"
#include "software/bp/rtl/fpga/sensors/CDieTemperature.h"
#include "software/bp/rtl/fpga/sensors/CLedTriColor.h"

#include <cstddef>
#include <cstdint>

namespace NFpga::NReferenceDesign
{
constexpr std::uint8_t kBoardPage = 0;
constexpr std::uint8_t kVideoPage = 1;

constexpr SPlace kControl{kBoardPage, 0x000, 0x80}; ///< the board's own bank, see CFpgaBoard
constexpr SPlace kStatusLed{kBoardPage, 0x100, CLedTriColor::kReferenceSize};
constexpr SPlace kTemperatures[] = {
    ///< of the die, the light source and the power supply
    {kBoardPage, 0x200, CDieTemperature::kReferenceSize},
    {kBoardPage, 0x210, CDieTemperature::kReferenceSize},
    {kBoardPage, 0x220, CDieTemperature::kReferenceSize},
};
constexpr std::uint32_t kTemperatureShift = 0;       ///< of their samples
constexpr bool kTemperatureHasSecondFormula = false; ///< they are of the first generation
constexpr SPlace kTestPattern{kVideoPage, 0x000, CFormatterTestPattern::kReferenceSize};

constexpr SPlace kAll[] = {kControl,         kStatusLed,       kTemperatures[0],
                           kTemperatures[1], kTemperatures[2], kTestPattern};

/// Whether every place lies inside its page and no two share a byte. A bank of size S also takes the address
/// S, which no block answers: only its S bytes count.
template <std::size_t Count>
constexpr bool AreApart(const SPlace (&places)[Count]) noexcept
{
    for (std::size_t i = 0; i < Count; ++i)
    {
        const SPlace& place = places[i];
        if (place.mPage >= IPtPages::kMostPages || place.mOffset % 4 != 0 || place.mSize == 0 ||
            place.mOffset + place.mSize > IPtPages::kPageSize)
            return false;
        for (std::size_t j = 0; j < i; ++j)
            if (places[j].mPage == place.mPage && places[j].mOffset < place.mOffset + place.mSize &&
                place.mOffset < places[j].mOffset + places[j].mSize)
                return false;
    }
    return true;
}
static_assert(AreApart(kAll));
} // namespace NFpga::NReferenceDesign
