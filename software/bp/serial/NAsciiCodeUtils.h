// The form of control codes.
#pragma once

#include <string>
#include <string_view>

/// A code is a letter and two letters or digits, "LUM", optionally with "+" and a sub-code of letters and
/// digits, "KST+TLPX".
namespace NAsciiCodeUtils
{
constexpr char kNoCode[] = "!!!";     ///< stands for a code that was never given
constexpr char kNoSubCode[] = "!!!!"; ///< stands for a sub-code that was never given

/// Upper-cases a code in place. @returns false, with the text untouched, for anything that is not a code
[[nodiscard]] bool ValidateCode(std::string& code);

/// "KST" and "TLPX" give "KST+TLPX"; an empty sub-code gives the code alone.
std::string JoinCode(std::string_view code, std::string_view subCode);

/// The reverse: `code` and `subCode` become "!!!" and "!!!!" and then what the text holds of each.
void SplitCode(std::string_view text, std::string& code, std::string& subCode);

/// Whether a sub-code fits into a message, which has room for exactly four characters or none: "ABC+12" is a
/// valid control whose sub-code no message can carry.
bool FitsMessage(std::string_view subCode) noexcept;
} // namespace NAsciiCodeUtils
