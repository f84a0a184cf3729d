#include "software/bp/serial/NAsciiCodeUtils.h"

#include <gtest/gtest.h>

TEST(AsciiCodeUtils, ValidatesAndUpperCasesCodesAndLeavesOthersAlone)
{
    const struct
    {
        const char* mText;
        const char* mCode; // null: refused
    } cases[] = {
        {"PWR", "PWR"},           {"ab1", "AB1"},       {"a12", "A12"},          {"ABC+12", "ABC+12"},
        {"kst+tlpx", "KST+TLPX"}, {"", nullptr},        {"AB", nullptr},         {"1AB", nullptr},
        {"ABC+", nullptr},        {"ABC-12", nullptr},  {"ABCD", nullptr},       {"AB C", nullptr},
        {"A+B", nullptr},         {"ABC+1+2", nullptr}, {"AB\xC3\x84", nullptr},
    };
    for (const auto& [text, code] : cases)
    {
        SCOPED_TRACE(text);
        std::string candidate = text;
        EXPECT_EQ(NAsciiCodeUtils::ValidateCode(candidate), code != nullptr);
        EXPECT_EQ(candidate, code != nullptr ? code : text);
    }
}

TEST(AsciiCodeUtils, SplitsFromTheEmptyMarksAndJoinsAgain)
{
    const struct
    {
        const char* mText;
        const char* mCode;
        const char* mSubCode;
    } cases[] = {
        {"KST+TLPX", "KST", "TLPX"},
        {"PWR", "PWR", "!!!!"},
        {"PWR+", "PWR", "!!!!"},
        {"", "!!!", "!!!!"},
    };
    for (const auto& [text, code, subCode] : cases)
    {
        SCOPED_TRACE(text);
        std::string first;
        std::string second;
        NAsciiCodeUtils::SplitCode(text, first, second);
        EXPECT_EQ(first, code);
        EXPECT_EQ(second, subCode);
    }
    EXPECT_EQ(NAsciiCodeUtils::JoinCode("KST", "TLPX"), "KST+TLPX");
    EXPECT_EQ(NAsciiCodeUtils::JoinCode("PWR", ""), "PWR");
}

TEST(AsciiCodeUtils, OnlyFourCharactersOrNoneFitIntoAMessage)
{
    EXPECT_TRUE(NAsciiCodeUtils::FitsMessage(""));
    EXPECT_TRUE(NAsciiCodeUtils::FitsMessage("TLPX"));
    EXPECT_FALSE(NAsciiCodeUtils::FitsMessage("12"));
    EXPECT_FALSE(NAsciiCodeUtils::FitsMessage("TLPXY"));
}
