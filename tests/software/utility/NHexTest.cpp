#include "software/utility/NHex.h"

#include <gtest/gtest.h>

TEST(Hex, TextAndBytesAndBack)
{
    const std::vector<unsigned char> bytes = {0x00, 0x9A, 0xFF, 0x1b};
    EXPECT_EQ(NHex::ToText(bytes.data(), bytes.size()), "009aff1b");
    for (const char* text : {"009aff1b", "009AfF1B"})
    {
        std::vector<unsigned char> read;
        EXPECT_TRUE(NHex::FromText(text, read));
        EXPECT_EQ(read, bytes);
    }
    for (const char* text : {"0", "0g", "g0", "/0", ":0", "@0", "`0", "0x", " 0", "00 "})
    {
        SCOPED_TRACE(text);
        std::vector<unsigned char> read = bytes;
        EXPECT_FALSE(NHex::FromText(text, read));
        EXPECT_EQ(read, bytes);
    }
}
