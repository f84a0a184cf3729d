#include "software/utility/NUtf8.h"

#include <gtest/gtest.h>

using namespace std::string_view_literals;

TEST(Utf8, OnlyWellFormedTextWithoutNulIsStorable)
{
    const std::pair<std::string_view, bool> cases[] = {
        {""sv, true},
        {"Saal 3"sv, true},
        {"Gr\xC3\xBC\xC3\x9F"sv, true},
        {"\xE2\x82\xAC \xF0\x9F\x8E\xA5"sv, true},
        {"\xF4\x8F\xBF\xBF"sv, true},  // U+10FFFF
        {"\xF4\x90\x80\x80"sv, false}, // beyond
        {"\xC0\xAF"sv, false},         // two bytes where one is enough
        {"\xE0\x80\xAF"sv, false},     // three bytes where one is enough
        {"\xED\xA0\x80"sv, false},     // half of a pair
        {"\x80"sv, false},             // no first byte
        {"ab\xC3"sv, false},           // cut
        {"\xE2\x82"sv, false},         // cut
        {"\xC3\x28"sv, false},         // second byte missing
        {"\xFE\xFF"sv, false},         // another encoding's mark
        {"a\0b"sv, false},
    };
    for (const auto& [text, storable] : cases)
        EXPECT_EQ(NUtf8::IsStorable(text), storable) << text;
}

TEST(Utf8, CutNeverSplitsACharacter)
{
    const std::string_view text = "a\xC3\xBC\xE2\x82\xAC\xF0\x9F\x8E\xA5"; // 1, 2, 3 and 4 bytes
    const std::size_t expected[] = {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 10};
    for (std::size_t maxBytes = 0; maxBytes < std::size(expected); ++maxBytes)
        EXPECT_EQ(NUtf8::CutLength(text, maxBytes), expected[maxBytes]) << maxBytes;
    EXPECT_EQ(NUtf8::CutLength("\x80\x80\x80\x80\x80\x80"sv, 5), 5u); // malformed text ends where it must
    EXPECT_EQ(NUtf8::CutLength("\x80\x80"sv, 1), 1u);
}

TEST(Utf8, PrintableTextIsOneHarmlessLine)
{
    const std::pair<std::string_view, const char*> cases[] = {
        {"plain \\ \xC3\xBC"sv, "plain \\ \xC3\xBC"},
        {"a\nb\rc\td"sv, "a\\nb\\rc\\td"},
        {"\x1B[2J\x7F\0"sv, "\\x1b[2J\\x7f\\x00"},
        {"\xC2\x9B\x32J"sv, "\\xc2\\x9b2J"}, // CSI as one character
        {"\xC3("sv, "\\xc3("},
        {"\xE2\x82"sv, "\\xe2\\x82"},
    };
    for (const auto& [text, expected] : cases)
    {
        std::string line = "> ";
        NUtf8::AppendPrintable(line, text);
        EXPECT_EQ(line, std::string("> ") + expected);
    }
}
