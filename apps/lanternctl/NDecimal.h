// Numbers with a fixed count of digits behind the point, without floating point: 735 with one decimal
// is 73.5.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace NDecimal
{
constexpr unsigned kMaxDecimals = 7; ///< of any control

enum class EParse
{
    Ok,
    NotANumber,      ///< anything but an optional sign, digits, and at most one point
    TooManyDecimals, ///< digits other than 0 behind what can be kept; never rounded
    TooLarge,        ///< outside the 32 bits of a control's value
};

/// @param decimals  digits behind the point, 0 to `kMaxDecimals`
std::string Format(std::int64_t value, unsigned decimals);

/// The reverse. "73.5", "-0.5", ".5", "+20" and "73.50" with one decimal are numbers; "1e3" is none.
/// @param value  written for `Ok` only
[[nodiscard]] EParse Parse(std::string_view text, unsigned decimals, std::int32_t& value) noexcept;
} // namespace NDecimal
