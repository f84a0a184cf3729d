// Fixed positions and ranges; no locale and no time zone takes part.
#include "software/bp/hwlogic/NDateTime.h"

#include <cstddef>

namespace
{
constexpr int kNoNumber = -1;

// The number that the digits at [from, from + count) stand for.
int NumberAt(std::string_view text, std::size_t from, std::size_t count) noexcept
{
    int number = 0;
    for (const char digit : text.substr(from, count))
    {
        if (digit < '0' || digit > '9')
            return kNoNumber;
        number = number * 10 + (digit - '0');
    }
    return number;
}

bool IsWithin(int number, int lowest, int highest) noexcept
{
    return number >= lowest && number <= highest;
}

int DaysOf(int year, int month) noexcept
{
    constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool isLeapYear = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    return kDays[month - 1] + (month == 2 && isLeapYear ? 1 : 0);
}
} // namespace

bool NDateTime::IsDate(std::string_view text) noexcept
{
    if (text.size() != 10 || text[4] != '-' || text[7] != '-')
        return false;
    const int year = NumberAt(text, 0, 4);
    const int month = NumberAt(text, 5, 2);
    return IsWithin(year, 1, 9999) && IsWithin(month, 1, 12) &&
           IsWithin(NumberAt(text, 8, 2), 1, DaysOf(year, month));
}

bool NDateTime::IsTime(std::string_view text) noexcept
{
    return text.size() == 8 && text[2] == ':' && text[5] == ':' && IsWithin(NumberAt(text, 0, 2), 0, 23) &&
           IsWithin(NumberAt(text, 3, 2), 0, 59) && IsWithin(NumberAt(text, 6, 2), 0, 59);
}

bool NDateTime::HasFormOf(EDisplayType type, std::string_view text) noexcept
{
    switch (type)
    {
    case eDisplayDate: return IsDate(text);
    case eDisplayTime: return IsTime(text);
    default: return true;
    }
}
