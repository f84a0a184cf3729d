// Well-formedness is judged by utf8proc.
#include "software/utility/NUtf8.h"

#include "software/utility/NHex.h"

#include <cstdint>

#include <utf8proc.h>

namespace
{
constexpr std::size_t kMaxContinuation = 3; // bytes of a character after its first

bool IsContinuation(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

struct SCharacter
{
    std::size_t mLength; // bytes; 0 for what is not UTF-8
    std::int32_t mCodepoint;
};

SCharacter Decode(std::string_view text)
{
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x80) // most texts are ASCII, which needs no call
        return {1, first};
    utf8proc_int32_t codepoint = 0;
    const utf8proc_ssize_t length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                                     static_cast<utf8proc_ssize_t>(text.size()), &codepoint);
    return length <= 0 ? SCharacter{0, 0} : SCharacter{static_cast<std::size_t>(length), codepoint};
}

// C0, DEL and C1: some terminals take U+009B for the start of an escape sequence.
bool IsControl(std::int32_t codepoint)
{
    return codepoint < 0x20 || (codepoint >= 0x7F && codepoint < 0xA0);
}

void AppendEscaped(std::string& line, char byte)
{
    switch (byte)
    {
    case '\n': line += "\\n"; return;
    case '\r': line += "\\r"; return;
    case '\t': line += "\\t"; return;
    default:
        line += "\\x";
        line += NHex::ToText(reinterpret_cast<const unsigned char*>(&byte), 1);
        return;
    }
}
} // namespace

bool NUtf8::IsStorable(std::string_view text) noexcept
{
    std::size_t at = 0;
    while (at < text.size())
    {
        if (static_cast<signed char>(text[at]) > 0) // most text is ASCII
        {
            ++at;
            continue;
        }
        const SCharacter character = Decode(text.substr(at));
        if (character.mLength == 0 || character.mCodepoint == 0)
            return false;
        at += character.mLength;
    }
    return true;
}

std::size_t NUtf8::CutLength(std::string_view text, std::size_t maxBytes) noexcept
{
    if (text.size() <= maxBytes)
        return text.size();
    std::size_t length = maxBytes;
    for (std::size_t i = 0; i < kMaxContinuation && length > 0 && IsContinuation(text[length]); ++i)
        --length;
    return IsContinuation(text[length]) ? maxBytes : length; // malformed: there is no border to find
}

std::size_t NUtf8::CharacterLength(std::string_view text) noexcept
{
    return text.empty() ? 0 : Decode(text).mLength;
}

void NUtf8::AppendPrintable(std::string& line, std::string_view text)
{
    while (!text.empty())
    {
        const SCharacter character = Decode(text);
        const std::string_view bytes = text.substr(0, character.mLength == 0 ? 1 : character.mLength);
        if (character.mLength != 0 && !IsControl(character.mCodepoint))
            line += bytes;
        else
            for (const char byte : bytes)
                AppendEscaped(line, byte);
        text.remove_prefix(bytes.size());
    }
}
