// One pass, straight into the caller's text.
#include "software/jsonrpc/NJsonText.h"

#include <json/writer.h>

#include <array>
#include <charconv>
#include <cmath>

namespace
{
constexpr std::uint32_t kReplacement = 0xFFFD; // stands for what is no UTF-8
constexpr char kHexDigits[] = "0123456789abcdef";

// The letter after the backslash; 'u' for a byte that needs a \uXXXX escape, 0 for one that stands as it is.
constexpr std::array<char, 256> MakeEscapes()
{
    std::array<char, 256> escapes{};
    for (std::size_t byte = 0; byte < escapes.size(); ++byte)
        escapes[byte] = byte < 0x20 || byte >= 0x80 ? 'u' : '\0';
    escapes['"'] = '"';
    escapes['\\'] = '\\';
    escapes['\b'] = 'b';
    escapes['\f'] = 'f';
    escapes['\n'] = 'n';
    escapes['\r'] = 'r';
    escapes['\t'] = 't';
    return escapes;
}
constexpr std::array<char, 256> kEscapes = MakeEscapes();

std::uint32_t ByteAt(std::string_view text, std::size_t at)
{
    return static_cast<unsigned char>(text[at]);
}

// One form of a character in UTF-8. Continuation bytes are not checked: that is the reader's business, and
// the bytes must be the same as those of jsoncpp's writer for any text.
struct SForm
{
    std::uint32_t mBelow; // first bytes below this one have this form
    std::size_t mBytes;
    std::uint32_t mMask;  // bits of the first byte that count
    std::uint32_t mLeast; // smaller ones have a shorter form
};
constexpr SForm kForms[] = {{0xE0, 2, 0x1F, 0x80}, {0xF0, 3, 0x0F, 0x800}, {0xF8, 4, 0x07, 0x10000}};

// The character at a byte that is not ASCII; moves past it. A form that is cut short, or a byte that begins
// none, is one bad byte.
std::uint32_t TakeCharacter(std::string_view text, std::size_t& at)
{
    const std::uint32_t first = ByteAt(text, at);
    for (const SForm& form : kForms)
    {
        if (first >= form.mBelow)
            continue;
        if (text.size() - at < form.mBytes)
            break;
        std::uint32_t character = first & form.mMask;
        for (std::size_t i = 1; i < form.mBytes; ++i)
            character = (character << 6) | (ByteAt(text, at + i) & 0x3FU);
        at += form.mBytes;
        const bool isSurrogate = character >= 0xD800 && character <= 0xDFFF;
        return character < form.mLeast || isSurrogate ? kReplacement : character;
    }
    ++at;
    return kReplacement;
}

void AppendUnit(std::uint32_t unit, std::string& text)
{
    const char escape[] = {'\\',
                           'u',
                           kHexDigits[(unit >> 12) & 0xFU],
                           kHexDigits[(unit >> 8) & 0xFU],
                           kHexDigits[(unit >> 4) & 0xFU],
                           kHexDigits[unit & 0xFU]};
    text.append(escape, sizeof escape);
}

void AppendCharacter(std::uint32_t character, std::string& text)
{
    if (character < 0x10000)
        return AppendUnit(character, text);
    character -= 0x10000;
    AppendUnit(0xD800 + ((character >> 10) & 0x3FFU), text);
    AppendUnit(0xDC00 + (character & 0x3FFU), text);
}

template <class TNumber>
void AppendDecimal(TNumber number, std::string& text)
{
    char digits[24];
    const auto end = std::to_chars(std::begin(digits), std::end(digits), number).ptr;
    text.append(digits, static_cast<std::size_t>(end - digits));
}

std::string_view StringOf(const Json::Value& value)
{
    const char* begin = nullptr;
    const char* end = nullptr;
    value.getString(&begin, &end);
    return {begin, static_cast<std::size_t>(end - begin)};
}

void AppendArray(const Json::Value& array, std::string& text)
{
    text += '[';
    Json::ArrayIndex index = 0;
    const auto end = array.end();
    for (auto element = array.begin(); element != end; ++element, ++index)
    {
        for (; index < element.index(); ++index) // elements that were never assigned
            text += "null,";
        NJsonText::Append(*element, text);
        text += ',';
    }
    if (text.back() == ',')
        text.back() = ']';
    else
        text += ']';
}

void AppendObject(const Json::Value& object, std::string& text)
{
    text += '{';
    bool isFirst = true;
    const auto end = object.end();
    for (auto member = object.begin(); member != end; ++member)
    {
        if (!isFirst)
            text += ',';
        isFirst = false;
        const char* nameEnd = nullptr;
        const char* name = member.memberName(&nameEnd);
        NJsonText::AppendQuoted({name, static_cast<std::size_t>(nameEnd - name)}, text);
        text += ':';
        NJsonText::Append(*member, text);
    }
    text += '}';
}
} // namespace

void NJsonText::Append(const Json::Value& value, std::string& text)
{
    switch (value.type())
    {
    case Json::nullValue: text += "null"; return;
    case Json::intValue: return AppendInteger(value.asLargestInt(), text);
    case Json::uintValue: return AppendUnsigned(value.asLargestUInt(), text);
    case Json::realValue:
        text += std::isfinite(value.asDouble()) ? Json::valueToString(value.asDouble()) : "null";
        return;
    case Json::stringValue: return AppendQuoted(StringOf(value), text);
    case Json::booleanValue: text += value.asBool() ? "true" : "false"; return;
    case Json::arrayValue: return AppendArray(value, text);
    case Json::objectValue: return AppendObject(value, text);
    }
}

void NJsonText::AppendQuoted(std::string_view content, std::string& text)
{
    text += '"';
    std::size_t plain = 0; // where the bytes begin that stand as they are
    std::size_t at = 0;
    while (at < content.size())
    {
        const char escape = kEscapes[ByteAt(content, at)];
        if (escape == '\0')
        {
            ++at;
            continue;
        }
        text.append(content, plain, at - plain);
        if (escape != 'u')
        {
            const char pair[] = {'\\', escape};
            text.append(pair, sizeof pair);
            ++at;
        }
        else
        {
            const bool isAscii = ByteAt(content, at) < 0x80;
            AppendCharacter(isAscii ? ByteAt(content, at++) : TakeCharacter(content, at), text);
        }
        plain = at;
    }
    text.append(content, plain, content.size() - plain);
    text += '"';
}

void NJsonText::AppendInteger(std::int64_t number, std::string& text)
{
    AppendDecimal(number, text);
}

void NJsonText::AppendUnsigned(std::uint64_t number, std::string& text)
{
    AppendDecimal(number, text);
}
