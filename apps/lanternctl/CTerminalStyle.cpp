// ECMA-48 select graphic rendition, four of its codes.
#include "apps/lanternctl/CTerminalStyle.h"

#include <cstdlib>
#include <cstring>
#include <unistd.h>

CTerminalStyle CTerminalStyle::ForDescriptor(int descriptor)
{
    const char* noColour = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    const bool refused = (noColour != nullptr && *noColour != '\0') || terminal == nullptr ||
                         std::strcmp(terminal, "dumb") == 0;
    return CTerminalStyle(!refused && isatty(descriptor) == 1);
}

std::string CTerminalStyle::Wrap(const char* code, const std::string& text) const
{
    if (!mColour || text.empty())
        return text;
    return std::string("\x1b[") + code + "m" + text + "\x1b[0m";
}
