// Character by character, so that a cut or a replacement never leaves half of one.
#include "software/bp/status/NStatusText.h"

#include "software/utility/NUtf8.h"

namespace
{
constexpr unsigned char kDelete = 0x7F;

char Replace(char byte)
{
    const auto value = static_cast<unsigned char>(byte);
    if (value < ' ' || value == kDelete)
        return ' ';
    switch (byte)
    {
    case '"': return '\'';
    case '\\': return '/';
    default: return byte;
    }
}
} // namespace

void NStatusText::MakeHarmless(std::string_view text, std::size_t maxBytes, std::string& harmless)
{
    harmless.clear();
    while (!text.empty())
    {
        const std::size_t length = NUtf8::CharacterLength(text);
        const std::size_t taken = length == 0 ? 1 : length;
        if (harmless.size() + taken > maxBytes)
            return;
        if (length == 0)
            harmless += '?';
        else if (length == 1)
            harmless += Replace(text.front());
        else
            harmless += text.substr(0, length);
        text.remove_prefix(taken);
    }
}
