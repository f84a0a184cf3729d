// Text on a terminal: how wide it is, and what of it must not reach the terminal as it is.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// All take UTF-8; bytes that are not count as one column each and are shown as "?".
namespace NDisplayText
{
/// Columns that the text takes: 2 for wide characters, 0 for combining ones.
std::size_t Width(std::string_view text) noexcept;

/// Cuts a text to so many columns; what was cut ends in "…".
std::string Clip(const std::string& text, std::size_t columns);

/// Control characters as "\n", "\t" or "\x1b", so that a text stored in a projector cannot steer the
/// terminal of whoever reads it.
std::string Printable(std::string_view text);

/// For comparisons that do not care for case.
std::string FoldCase(const std::string& text);

/// Upper case of a control code, which is ASCII; other bytes stay as they are.
std::string UpperCode(std::string code);
} // namespace NDisplayText
