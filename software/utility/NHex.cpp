// No locale and no streams: a digit is looked up, or computed from its place in ASCII.
#include "software/utility/NHex.h"

#include <algorithm>
#include <cstdio>
#include <utility>

std::string NHex::ToText(const unsigned char* bytes, std::size_t size)
{
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text(2 * size, '\0');
    for (std::size_t i = 0; i < size; ++i)
    {
        text[2 * i] = kDigits[bytes[i] >> 4];
        text[2 * i + 1] = kDigits[bytes[i] & 0x0F];
    }
    return text;
}

std::string NHex::ToDump(const unsigned char* bytes, std::size_t size, std::size_t address)
{
    constexpr std::size_t kLine = 16; // bytes
    std::string text;
    for (std::size_t at = 0; at < size; at += kLine)
    {
        char number[24];
        std::snprintf(number, sizeof number, "%04zx:", address + at);
        text += number;
        for (std::size_t i = at; i < std::min(size, at + kLine); ++i)
            text += ' ' + ToText(bytes + i, 1);
        text += '\n';
    }
    return text;
}

bool NHex::FromText(std::string_view text, std::vector<unsigned char>& bytes)
{
    if (text.size() % 2 != 0)
        return false;
    std::vector<unsigned char> result;
    result.reserve(text.size() / 2);
    for (std::size_t i = 0; i < text.size(); i += 2)
    {
        const int high = GetDigit(text[i]);
        const int low = GetDigit(text[i + 1]);
        if (high < 0 || low < 0)
            return false;
        result.push_back(static_cast<unsigned char>(high * 16 + low));
    }
    bytes = std::move(result);
    return true;
}

int NHex::GetDigit(char digit) noexcept
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    if (digit >= 'a' && digit <= 'f')
        return digit - 'a' + 10;
    return digit >= 'A' && digit <= 'F' ? digit - 'A' + 10 : -1;
}
