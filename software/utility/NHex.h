// Bytes as hexadecimal text.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace NHex
{
/// @returns two lower-case digits a byte, without blanks
std::string ToText(const unsigned char* bytes, std::size_t size);

/// For people: 16 bytes a line, after their address in four digits or more.
/// @param address  of the first byte
/// @returns lines that end with a newline, nothing for no bytes
std::string ToDump(const unsigned char* bytes, std::size_t size, std::size_t address = 0);

/// Reads what `ToText` writes, in upper or lower case.
/// @returns false, and leaves the bytes alone, when the text is of odd length or holds anything but digits
[[nodiscard]] bool FromText(std::string_view text, std::vector<unsigned char>& bytes);

/// @returns the value of one hexadecimal digit, or -1
int GetDigit(char digit) noexcept;
} // namespace NHex
