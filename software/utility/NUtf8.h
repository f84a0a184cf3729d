// What every front end asks of a text before it is stored.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace NUtf8
{
/// Whether the bytes are well-formed UTF-8 and hold no NUL (The Unicode Standard, table 3-7).
bool IsStorable(std::string_view text) noexcept;

/// The longest length of at most `maxBytes` that does not split a character of well-formed text.
std::size_t CutLength(std::string_view text, std::size_t maxBytes) noexcept;

/// The bytes of the character that a text starts with; 0 when it is not well-formed, or when there is none.
std::size_t CharacterLength(std::string_view text) noexcept;

/// Appends a text of any origin to one line that a terminal or a log may show: control characters become \n,
/// \r, \t or \xNN, and so do the bytes of what is not UTF-8. The rest stays as it is.
void AppendPrintable(std::string& line, std::string_view text);
} // namespace NUtf8
