// Texts of the status database: what may enter it, and what its front ends answer.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace NStatusText
{
inline constexpr char kUnknownGroup[] = "Cannot find status group";
inline constexpr char kMissingGroup[] = "Missing status group";
inline constexpr char kUnknownItem[] = "Cannot find status group or item";

// Item notifications carry these texts as they are, in a buffer of 1024 bytes with some 120 for the rest.
inline constexpr std::size_t kMaxGroup = 64;        ///< bytes; of a group's name and icon, too
inline constexpr std::size_t kMaxDescription = 256; ///< bytes
inline constexpr std::size_t kMaxValue = 512;       ///< bytes

/// Replaces `harmless` by the text as it can stand between quotes without an escape: " becomes ', \ becomes
/// /, control bytes become blanks, bytes that are not UTF-8 question marks. What is longer is cut, never
/// inside a character.
void MakeHarmless(std::string_view text, std::size_t maxBytes, std::string& harmless);
} // namespace NStatusText
