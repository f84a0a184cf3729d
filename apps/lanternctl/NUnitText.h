// Units of controls come as UCUM texts; this is how a person writes them.
#pragma once

#include <string>
#include <string_view>

namespace NUnitText
{
/// "Cel" gives "°C", "{rpm}" gives "rpm", "%" itself.
std::string Pretty(std::string_view ucum);

/// Whether a person who typed this meant this unit, in either way of writing.
bool IsSame(std::string_view typed, std::string_view ucum);
} // namespace NUnitText
