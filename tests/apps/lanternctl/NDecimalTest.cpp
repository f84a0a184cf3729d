#include "apps/lanternctl/NDecimal.h"

#include <gtest/gtest.h>

TEST(Decimal, WhatIsWrittenReadsBackAsTheSameNumber)
{
    struct SRow
    {
        std::int32_t mValue;
        unsigned mDecimals;
        const char* mText;
    };
    const SRow rows[] = {
        {735, 1, "73.5"},
        {0, 1, "0.0"},
        {-5, 1, "-0.5"},
        {-5, 3, "-0.005"},
        {7, 0, "7"},
        {1000, 1, "100.0"},
        {2147483647, 0, "2147483647"},
        {-2147483647 - 1, 0, "-2147483648"},
        {2147483647, 7, "214.7483647"},
        {-2147483647 - 1, 7, "-214.7483648"},
        {1, 7, "0.0000001"},
    };
    for (const auto& [value, decimals, text] : rows)
    {
        SCOPED_TRACE(text);
        EXPECT_EQ(NDecimal::Format(value, decimals), text);
        std::int32_t parsed = 0;
        EXPECT_EQ(NDecimal::Parse(text, decimals, parsed), NDecimal::EParse::Ok);
        EXPECT_EQ(parsed, value);
    }
}

TEST(Decimal, NumbersArePaddedButNeverRounded)
{
    using NDecimal::EParse;
    constexpr std::int32_t kUntouched = 4711;
    struct SRow
    {
        const char* mText;
        unsigned mDecimals;
        EParse mResult;
        std::int32_t mValue;
    };
    const SRow rows[] = {
        {"73", 1, EParse::Ok, 730},
        {"73.", 1, EParse::Ok, 730},
        {".5", 1, EParse::Ok, 5},
        {"-.5", 1, EParse::Ok, -5},
        {"+20", 0, EParse::Ok, 20},
        {"007", 0, EParse::Ok, 7},
        {"-0", 0, EParse::Ok, 0},
        {"73.50", 1, EParse::Ok, 735}, // nothing is lost
        {"5.000", 0, EParse::Ok, 5},
        {"73.55", 1, EParse::TooManyDecimals, kUntouched},
        {"0.5", 0, EParse::TooManyDecimals, kUntouched},
        {"2147483648", 0, EParse::TooLarge, kUntouched},
        {"-2147483649", 0, EParse::TooLarge, kUntouched},
        {"214748364.8", 1, EParse::TooLarge, kUntouched}, // fits before it is scaled, not after
        {"99999999999999999999999999999999", 0, EParse::TooLarge, kUntouched},
        {"", 0, EParse::NotANumber, kUntouched},
        {"-", 0, EParse::NotANumber, kUntouched},
        {".", 1, EParse::NotANumber, kUntouched},
        {"1e3", 0, EParse::NotANumber, kUntouched},
        {"1.2.3", 1, EParse::NotANumber, kUntouched},
        {"73,5", 1, EParse::NotANumber, kUntouched},
        {"--5", 0, EParse::NotANumber, kUntouched},
        {" 5", 0, EParse::NotANumber, kUntouched},
        {"0x10", 0, EParse::NotANumber, kUntouched},
    };
    for (const auto& [text, decimals, result, value] : rows)
    {
        SCOPED_TRACE(text);
        std::int32_t parsed = kUntouched;
        EXPECT_EQ(NDecimal::Parse(text, decimals, parsed), result);
        EXPECT_EQ(parsed, value);
    }
}
