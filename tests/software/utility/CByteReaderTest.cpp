// Reader and writer are one contract: what one puts down the other takes up.
#include "software/utility/CByteReader.h"
#include "software/utility/CByteWriter.h"

#include <gtest/gtest.h>

namespace
{
// Signs of every byte are seen: all are above 0x7F.
const std::vector<unsigned char> kBytes = {
    0xF1,                                           // 8
    0xF2, 0xE2,                                     // le16
    0xF4, 0xE4, 0xD4, 0xC4,                         // le32
    0xF8, 0xE8, 0xD8, 0xC8, 0xB8, 0xA8, 0x98, 0x88, // le64
    0xF2, 0xE2,                                     // be16
    0xF4, 0xE4, 0xD4, 0xC4,                         // be32
    0xF8, 0xE8, 0xD8, 0xC8, 0xB8, 0xA8, 0x98, 0x88, // be64
    'a',  'b',  0,    'c',                          // text, zero byte, byte
};
} // namespace

TEST(ByteReader, ReadsEveryOrderThatTheWriterPuts)
{
    std::vector<unsigned char> written;
    CByteWriter out(written);
    out.Put8(0xF1);
    out.PutLe16(0xE2F2);
    out.PutLe32(0xC4D4E4F4);
    out.PutLe64(0x8898A8B8C8D8E8F8);
    out.PutBe16(0xF2E2);
    out.PutBe32(0xF4E4D4C4);
    out.PutBe64(0xF8E8D8C8B8A89888);
    out.PutText("ab");
    out.Put8(0);
    out.PutBytes(kBytes.data() + kBytes.size() - 1, 1);
    EXPECT_EQ(written, kBytes);

    CByteReader in(kBytes.data(), kBytes.size());
    EXPECT_EQ(in.Get8(), 0xF1);
    EXPECT_EQ(in.GetLe16(), 0xE2F2);
    EXPECT_EQ(in.GetLe32(), 0xC4D4E4F4);
    EXPECT_EQ(in.GetLe64(), 0x8898A8B8C8D8E8F8);
    EXPECT_EQ(in.GetBe16(), 0xF2E2);
    EXPECT_EQ(in.GetBe32(), 0xF4E4D4C4);
    EXPECT_EQ(in.GetBe64(), 0xF8E8D8C8B8A89888);
    EXPECT_EQ(in.GetZeroTerminated(), "ab");
    EXPECT_EQ(in.GetText(1), "c");
    EXPECT_TRUE(in.Ok());
    EXPECT_EQ(in.Left(), 0u);
}

TEST(ByteReader, PastTheEndNothingIsBelievedAnyMore)
{
    const unsigned char bytes[] = {1, 2, 3};
    const auto refuses = [&](auto read)
    {
        CByteReader in(bytes, sizeof bytes);
        read(in);
        return !in.Ok() && in.Left() == 0 && in.Get8() == 0 && !in.Ok();
    };
    EXPECT_TRUE(refuses([](CByteReader& in) { EXPECT_EQ(in.GetLe32(), 0u); }));
    EXPECT_TRUE(refuses([](CByteReader& in) { EXPECT_EQ(in.GetBe64(), 0u); }));
    EXPECT_TRUE(refuses([](CByteReader& in) { EXPECT_EQ(in.GetBytes(SIZE_MAX), nullptr); }));
    EXPECT_TRUE(refuses([](CByteReader& in) { EXPECT_TRUE(in.GetText(4).empty()); }));
    EXPECT_TRUE(refuses([](CByteReader& in) { EXPECT_TRUE(in.GetZeroTerminated().empty()); }));
    EXPECT_TRUE(refuses([](CByteReader& in) { in.Skip(4); }));
    CByteReader empty(nullptr, 0);
    empty.Skip(0);
    EXPECT_TRUE(empty.Ok());
    EXPECT_TRUE(empty.GetZeroTerminated().empty());
    EXPECT_FALSE(empty.Ok());
}
