// The little colour there is.
#pragma once

#include <string>

/// Emphasis for one stream: escape sequences on a terminal, nothing anywhere else, when NO_COLOR is set to
/// anything, or when TERM says "dumb".
class CTerminalStyle
{
public:
    explicit CTerminalStyle(bool colour = false) noexcept
        : mColour(colour)
    {
    }
    static CTerminalStyle ForDescriptor(int descriptor);

    std::string Bold(const std::string& text) const { return Wrap("1", text); }
    std::string Dim(const std::string& text) const { return Wrap("2", text); }
    std::string Yellow(const std::string& text) const { return Wrap("33", text); }
    std::string Red(const std::string& text) const { return Wrap("31", text); }

private:
    std::string Wrap(const char* code, const std::string& text) const;

    bool mColour;
};
