// Characters, numbers and quoted texts of the serial line.
#pragma once

#include <cstddef>
#include <string_view>

/// ASCII only, whatever the locale: a message means the same on every unit.
namespace NSerialText
{
constexpr bool IsSpace(char c) noexcept
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}
constexpr bool IsDigit(char c) noexcept
{
    return c >= '0' && c <= '9';
}
constexpr bool IsLetter(char c) noexcept
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}
constexpr char ToUpper(char c) noexcept
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}
constexpr char ToLower(char c) noexcept
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// Value of one hexadecimal digit, 0 to 15. Nothing is refused: other characters give some value as well.
int HexToBin(char c) noexcept;

/// A decimal number with an optional minus sign in front, up to the first character that is neither; 0
/// without digits. What does not fit into 32 bits becomes the nearest number that does.
int ParseNumber(std::string_view text) noexcept;

/// What stands after a backslash for a byte that a text must not hold as it is; any other character for
/// itself.
char Unescape(char letter) noexcept;

/// The room that `BuildString` may need, in bytes.
constexpr std::size_t GetQuotedRoom(std::size_t length) noexcept
{
    return 2 * length + 2;
}
/// Writes a text in double quotes, escaped.
/// @param out     has `GetQuotedRoom(length)` bytes
/// @param length  of the text, in bytes
/// @returns the bytes written
unsigned BuildString(unsigned char* out, unsigned short length, const unsigned char* text) noexcept;
} // namespace NSerialText
