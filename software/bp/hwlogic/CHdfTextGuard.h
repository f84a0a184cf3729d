// Says which HDF text and which paths may be handed to the library.
#pragma once

#include <cstddef>
#include <string_view>

/// The library follows braces, name parts and links by recursion, takes a line or a NUL as the end of what it
/// did not understand, and writes names that it cannot read. This check stands in front of it and lets
/// through what both of us understand the same way. It looks at each byte once and allocates nothing.
class CHdfTextGuard
{
public:
    static constexpr std::size_t kMaxTextSize = 1 << 20; ///< bytes
    static constexpr std::size_t kMaxDepth = 64; ///< name parts from the root to a node, braces included

    /// Refuses: a text above `kMaxTextSize`; a NUL; nodes deeper than `kMaxDepth`; braces that do not match
    /// or have something behind them; names that are empty or hold more than [A-Za-z0-9_.]; links ("a : b");
    /// includes; a multi-line value without its end mark, or with that mark inside one of its lines.
    /// @throws CException "Line %zu of the HDF text: %s", "An HDF text of %zu bytes is larger than %zu", "The
    /// HDF text holds a NUL"
    static void CheckText(std::string_view text);

    /// Whether the path may name a node that is made: parts of [A-Za-z0-9_], none empty, at most `kMaxDepth`.
    [[nodiscard]] static bool IsPath(std::string_view path) noexcept;

    /// Whether the writer may print a value that reads back as another one: it has blanks at an end, or
    /// lines.
    [[nodiscard]] static bool NeedsProof(std::string_view value) noexcept;
};
