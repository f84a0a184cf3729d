// The escapes of a quoted text, for reading and writing alike.
#include "software/bp/serial/NSerialText.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <limits>

namespace
{
struct SEscape
{
    char mByte;   // what the text holds
    char mLetter; // what stands for it after a backslash
};

// One table for both directions: the reader and the writer cannot drift apart.
constexpr SEscape kEscapes[] = {
    {'\x01', 'b'}, {'\x0A', 'n'}, {'\x0E', 'e'}, {'\x11', 'g'}, {'\x13', 's'},
    {'\x1B', 'x'}, {'"', '"'},    {'(', '('},    {')', ')'},    {'\\', '\\'},
};

constexpr std::size_t kBytes = 256;

// What to write behind a backslash for each byte; 0 for a byte that stands for itself.
constexpr std::array<char, kBytes> MakeLetters()
{
    std::array<char, kBytes> letters{};
    for (const SEscape& escape : kEscapes)
        letters[static_cast<unsigned char>(escape.mByte)] = escape.mLetter;
    return letters;
}
constexpr std::array<char, kBytes> kLetters = MakeLetters();
} // namespace

int NSerialText::HexToBin(char c) noexcept
{
    constexpr int kNibble = 0xF;
    const int code = static_cast<unsigned char>(c);
    if (code > 0x60)
        return (code - 'a' + 10) & kNibble;
    if (code >= 'A')
        return (code - 'A' + 10) & kNibble;
    return (code - '0') & kNibble;
}

int NSerialText::ParseNumber(std::string_view text) noexcept
{
    using Limits = std::numeric_limits<int>;
    constexpr std::int64_t kBeyond = std::int64_t{Limits::max()} + 1;
    constexpr int kBase = 10;
    const char* at = text.data();
    const char* const end = at + text.size();
    const bool isNegative = at != end && *at == '-';
    if (isNegative)
        ++at;
    std::int64_t number = 0;
    for (; at != end && IsDigit(*at) && number < kBeyond; ++at)
        number = number * kBase + (*at - '0');
    number = std::min(number, kBeyond);
    return static_cast<int>(isNegative ? -number : std::min<std::int64_t>(number, Limits::max()));
}

char NSerialText::Unescape(char letter) noexcept
{
    const auto entry = std::find_if(std::begin(kEscapes), std::end(kEscapes),
                                    [=](const SEscape& e) { return e.mLetter == ToLower(letter); });
    return entry == std::end(kEscapes) ? letter : entry->mByte;
}

unsigned NSerialText::BuildString(unsigned char* out, unsigned short length,
                                  const unsigned char* text) noexcept
{
    unsigned char* at = out;
    *at++ = '"';
    for (const unsigned char byte : std::basic_string_view<unsigned char>(text, length))
    {
        const char letter = kLetters[byte];
        if (letter != '\0')
            *at++ = '\\';
        *at++ = letter != '\0' ? static_cast<unsigned char>(letter) : byte;
    }
    *at++ = '"';
    return static_cast<unsigned>(at - out);
}
