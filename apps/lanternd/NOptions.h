// Reads the command line.
#pragma once

#include <iosfwd>
#include <optional>

struct SOptions;

namespace NOptions
{
constexpr int kExitUsage = 2; ///< exit code for a command line that is wrong

/// Fills the options from the command line. Help and version go to `out`, a sentence about wrong usage to
/// `err`.
/// @returns the exit code when the program is done with that, nothing when it is to go on
std::optional<int> Parse(int argc, const char* const* argv, SOptions& options, std::ostream& out,
                         std::ostream& err);
} // namespace NOptions
