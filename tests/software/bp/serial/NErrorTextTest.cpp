#include "software/bp/serial/NErrorText.h"

#include <gtest/gtest.h>

TEST(ErrorText, ListedCodesHaveTheirTextAndGapsAreUnknown)
{
    const std::pair<unsigned, const char*> cases[] = {
        {0, ""},
        {3, "Invalid Parameter"},
        {10, "Error receiving serial data"},
        {11, "Unknown Error"},
        {101, "Control Not Found"},
        {105, "Disabled Control"},
        {112, "Failed to set Hardware"},
        {117, "Invalid Access Group"},
        {118, "System Busy - Try Again Later"},
        {119, "Unknown Error"},
        {138, "No response"},
        {139, "Unknown Error"},
        {0xFFFFFFFF, "Unknown Error"},
    };
    for (const auto& [code, text] : cases)
        EXPECT_STREQ(NErrorText::GetErrorString(static_cast<EError>(code)), text) << code;
}
