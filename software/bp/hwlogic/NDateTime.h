// Which texts are a date or a time of day.
#pragma once

#include <string_view>

namespace NDateTime
{
bool IsDate(
    std::string_view text) noexcept; ///< "2026-02-28", a day of the Gregorian calendar, years 1 to 9999
bool IsTime(std::string_view text) noexcept; ///< "00:00:00" to "23:59:59"
} // namespace NDateTime
