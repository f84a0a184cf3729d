// One walk over the characters, by utf8proc, serves all.
#include "apps/lanternctl/NDisplayText.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utf8proc.h>

namespace
{
constexpr char kEllipsis[] = "…";
constexpr std::size_t kEllipsisWidth = 1;

struct SCharacter
{
    std::size_t mBytes;          // at least 1
    utf8proc_int32_t mCodePoint; // -1: not UTF-8
    std::size_t GetWidth() const noexcept
    {
        return mCodePoint < 0 ? 1 : static_cast<std::size_t>(std::max(0, utf8proc_charwidth(mCodePoint)));
    }
};

SCharacter First(std::string_view text) noexcept
{
    SCharacter character{1, -1};
    const utf8proc_ssize_t bytes =
        utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                         static_cast<utf8proc_ssize_t>(text.size()), &character.mCodePoint);
    if (bytes > 0)
        character.mBytes = static_cast<std::size_t>(bytes);
    return character;
}

bool IsControl(utf8proc_int32_t codePoint) noexcept
{
    return codePoint < 0x20 || (codePoint >= 0x7F && codePoint < 0xA0);
}

std::string EscapeControl(utf8proc_int32_t codePoint)
{
    switch (codePoint)
    {
    case '\n': return "\\n";
    case '\r': return "\\r";
    case '\t': return "\\t";
    default: break;
    }
    std::array<char, sizeof "\\xffffffff"> text{};
    std::snprintf(text.data(), text.size(), "\\x%02x", static_cast<unsigned>(codePoint));
    return text.data();
}
} // namespace

std::size_t NDisplayText::Width(std::string_view text) noexcept
{
    std::size_t width = 0;
    while (!text.empty())
    {
        const SCharacter character = First(text);
        width += character.GetWidth();
        text.remove_prefix(character.mBytes);
    }
    return width;
}

std::string NDisplayText::Clip(const std::string& text, std::size_t columns)
{
    if (Width(text) <= columns)
        return text;
    std::size_t bytes = 0;
    std::size_t width = kEllipsisWidth;
    while (bytes < text.size())
    {
        const SCharacter character = First(std::string_view(text).substr(bytes));
        width += character.GetWidth();
        if (width > columns)
            break;
        bytes += character.mBytes;
    }
    return text.substr(0, bytes) + kEllipsis;
}

std::string NDisplayText::Printable(std::string_view text)
{
    std::string printable;
    printable.reserve(text.size());
    while (!text.empty())
    {
        const SCharacter character = First(text);
        if (character.mCodePoint < 0)
            printable += '?';
        else if (IsControl(character.mCodePoint))
            printable += EscapeControl(character.mCodePoint);
        else
            printable.append(text.data(), character.mBytes);
        text.remove_prefix(character.mBytes);
    }
    return printable;
}

std::string NDisplayText::FoldCase(const std::string& text)
{
    utf8proc_uint8_t* folded = nullptr;
    const utf8proc_ssize_t size = utf8proc_map(
        reinterpret_cast<const utf8proc_uint8_t*>(text.data()), static_cast<utf8proc_ssize_t>(text.size()),
        &folded, static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPOSE | UTF8PROC_CASEFOLD));
    const std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owner(folded, &std::free);
    if (size < 0)
        return text; // not UTF-8: compared as it is
    return std::string(reinterpret_cast<const char*>(folded), static_cast<std::size_t>(size));
}

std::string NDisplayText::UpperCode(std::string code)
{
    std::transform(code.begin(), code.end(), code.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    return code;
}
