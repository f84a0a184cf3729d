// Which texts are a date or a time of day.
#pragma once

#include "software/bp/serial/EDisplayType.h"

#include <string_view>

namespace NDateTime
{
bool IsDate(
    std::string_view text) noexcept; ///< "2026-02-28", a day of the Gregorian calendar, years 1 to 9999
bool IsTime(std::string_view text) noexcept; ///< "00:00:00" to "23:59:59"
/// Whether a text has the form that its control itself does not look at: that of a date or a time, where the
/// type is one.
bool HasFormOf(EDisplayType type, std::string_view text) noexcept;
} // namespace NDateTime
