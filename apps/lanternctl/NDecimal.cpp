// Integer arithmetic only, so that what is typed is what is set.
#include "apps/lanternctl/NDecimal.h"

#include <algorithm>
#include <limits>

namespace
{
constexpr char kDigits[] = "0123456789";

bool IsDigits(std::string_view text) noexcept
{
    return text.find_first_not_of(kDigits) == std::string_view::npos;
}

// Appends digits to a magnitude. Stays far below 64 bits: it gives up beyond what 32 bits hold.
bool TakeDigits(std::string_view digits, std::int64_t limit, std::int64_t& magnitude) noexcept
{
    for (const char digit : digits)
    {
        magnitude = magnitude * 10 + (digit - '0');
        if (magnitude > limit)
            return false;
    }
    return true;
}
} // namespace

std::string NDecimal::Format(std::int64_t value, unsigned decimals)
{
    const bool negative = value < 0;
    const auto magnitude =
        negative ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
    std::string digits = std::to_string(magnitude);
    if (decimals > 0)
    {
        if (digits.size() <= decimals)
            digits.insert(0, decimals + 1 - digits.size(), '0'); // one digit stays before the point
        digits.insert(digits.size() - decimals, 1, '.');
    }
    return negative ? "-" + digits : digits;
}

NDecimal::EParse NDecimal::Parse(std::string_view text, unsigned decimals, std::int32_t& value) noexcept
{
    const bool negative = !text.empty() && text.front() == '-';
    if (negative || (!text.empty() && text.front() == '+'))
        text.remove_prefix(1);
    const std::size_t point = text.find('.');
    const std::string_view whole = text.substr(0, point);
    std::string_view fraction = point == std::string_view::npos ? std::string_view() : text.substr(point + 1);
    if ((whole.empty() && fraction.empty()) || !IsDigits(whole) || !IsDigits(fraction))
        return EParse::NotANumber;

    const std::size_t significant = fraction.find_last_not_of('0') + 1; // npos + 1 is 0: nothing but zeros
    if (significant > decimals)
        return EParse::TooManyDecimals;
    fraction = fraction.substr(0, std::min<std::size_t>(fraction.size(), decimals));

    constexpr std::int64_t kMaximum = std::numeric_limits<std::int32_t>::max();
    const std::int64_t limit = negative ? kMaximum + 1 : kMaximum;
    constexpr std::string_view kZeros = "0000000";
    static_assert(kZeros.size() == kMaxDecimals);
    const std::size_t missing = std::min<std::size_t>(decimals, kMaxDecimals) - fraction.size();
    std::int64_t magnitude = 0;
    if (!TakeDigits(whole, limit, magnitude) || !TakeDigits(fraction, limit, magnitude) ||
        !TakeDigits(kZeros.substr(0, missing), limit, magnitude))
        return EParse::TooLarge;
    value = static_cast<std::int32_t>(negative ? -magnitude : magnitude);
    return EParse::Ok;
}
