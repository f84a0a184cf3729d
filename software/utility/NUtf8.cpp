// Well-formedness is judged by utf8proc.
#include "software/utility/NUtf8.h"

#include <utf8proc.h>

namespace
{
constexpr std::size_t kMaxContinuation = 3; // bytes of a character after its first

bool IsContinuation(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}
} // namespace

bool NUtf8::IsStorable(std::string_view text) noexcept
{
    std::size_t at = 0;
    while (at < text.size())
    {
        const auto byte = static_cast<unsigned char>(text[at]);
        if (byte == 0)
            return false;
        if (byte < 0x80) // most texts are ASCII, which needs no call
        {
            ++at;
            continue;
        }
        utf8proc_int32_t codepoint = 0;
        const utf8proc_ssize_t length =
            utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()) + at,
                             static_cast<utf8proc_ssize_t>(text.size() - at), &codepoint);
        if (length <= 0)
            return false;
        at += static_cast<std::size_t>(length);
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
