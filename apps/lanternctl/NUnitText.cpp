// One table; what is not in it is shown as it comes.
#include "apps/lanternctl/NUnitText.h"

#include <algorithm>
#include <iterator>

namespace
{
struct SUnit
{
    const char* mUcum;
    const char* mPretty;
};

constexpr SUnit kUnits[] = {
    {"Cel", "°C"}, {"[degF]", "°F"}, {"deg", "°"},     {"Ohm", "Ω"},    {"um", "µm"},
    {"us", "µs"},  {"uA", "µA"},     {"uV", "µV"},     {"/min", "rpm"}, {"m2", "m²"},
    {"m3", "m³"},  {"m3/h", "m³/h"}, {"m/s2", "m/s²"}, {"[px]", "px"},
};
} // namespace

std::string NUnitText::Pretty(std::string_view ucum)
{
    const auto unit =
        std::find_if(std::begin(kUnits), std::end(kUnits), [&](const SUnit& u) { return ucum == u.mUcum; });
    if (unit != std::end(kUnits))
        return unit->mPretty;
    if (ucum.size() > 2 && ucum.front() == '{' && ucum.back() == '}') // an annotation: words, not a unit
        return std::string(ucum.substr(1, ucum.size() - 2));
    return std::string(ucum);
}

bool NUnitText::IsSame(std::string_view typed, std::string_view ucum)
{
    return typed == ucum || typed == Pretty(ucum);
}
