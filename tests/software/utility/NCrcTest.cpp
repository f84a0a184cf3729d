// Against the common variant, which is this one with two zero bytes behind the text.
#include "software/utility/NCrc.h"

#include <gtest/gtest.h>

TEST(Crc, ComesInAtTheBottomWithoutTrailingZeros)
{
    const unsigned char digits[] = "123456789\0"; // and the literal's own NUL
    EXPECT_EQ(NCrc::GetCrc16(digits, 11), 0x31C3);
    EXPECT_EQ(NCrc::GetCrc16(digits, 9), 0xBEEF);
    EXPECT_EQ(NCrc::GetCrc16(digits, 2), 0x3132);
    EXPECT_EQ(NCrc::GetCrc16(nullptr, 0), 0);
}
