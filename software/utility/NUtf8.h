// What every front end asks of a text before it is stored.
#pragma once

#include <cstddef>
#include <string_view>

namespace NUtf8
{
/// Whether the bytes are well-formed UTF-8 and hold no NUL (The Unicode Standard, table 3-7).
bool IsStorable(std::string_view text) noexcept;

/// The longest length of at most `maxBytes` that does not split a character of well-formed text.
std::size_t CutLength(std::string_view text, std::size_t maxBytes) noexcept;
} // namespace NUtf8
