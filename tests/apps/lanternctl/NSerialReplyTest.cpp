#include "apps/lanternctl/NSerialReply.h"

#include "software/bp/serial/NIpcMsgUtil.h"
#include "software/bp/serial/NSerialFormat.h"
#include "software/utility/CIpcMessage.h"

#include <gtest/gtest.h>

namespace
{
std::string Format(const CIpcMessage& message)
{
    std::string line;
    NSerialFormat::Format(message, line);
    return line;
}
} // namespace

TEST(SerialReply, ReadsWhatUnitsWrite)
{
    CIpcMessage message;
    ASSERT_TRUE(NIpcMsgUtil::SetFullCode(message, "KST+TLPX"));
    message.SetFlags(eFlagReply | eFlagChecksum | eFlagHash);
    message.SetDestination(1023);
    message.SetSource(7);
    message.AddArg(0, 1, static_cast<EParmFlags>(eParmNumber | 3), 'L');
    message.AddArg(1, -2147483647 - 1);
    message.AddArg(2, std::string("\x01(\"\\)\n\x0E\x11\x13\x1B größer"));
    message.AddArg(3, "");
    const std::string line = Format(message);

    CIpcMessage read;
    ASSERT_TRUE(NSerialReply::Parse(line, read)) << line;
    EXPECT_EQ(Format(read), line); // flags, addresses, code, every argument, and the checksum anew
    EXPECT_EQ(read.GetNumArgs(), 4u);
    EXPECT_EQ(read.GetFlags(), message.GetFlags());
    EXPECT_EQ(read.GetSource(), 7);

    for (std::size_t i = 1; i + 1 < line.size(); ++i) // a checksum tells of every single damaged byte
    {
        std::string damaged = line;
        damaged[i] = static_cast<char>(damaged[i] ^ 0x01);
        CIpcMessage unused;
        EXPECT_FALSE(NSerialReply::Parse(damaged, unused)) << damaged;
    }
}

TEST(SerialReply, ToleratesAndRefuses)
{
    std::string many = "(LUM!";
    for (int i = 0; i < 129; ++i)
        many += "1 ";
    const std::pair<std::string, bool> rows[] = {
        {"(pwr!1)", true},
        {"(65535 ERR00104 \"LUM: Invalid Value\")", true},
        {"( 1 2 LUM ! 735 )", true},
        {R"-((NME!"\h41\h00"))-", true},
        {"(LUM!99999999999999)", true}, // the nearest number
        {"", false},
        {"()", false},
        {"(LU)", false},
        {"(LUM!735", false},
        {"(1 2 3 LUM!735)", false},
        {"(KST+TL!1)", false},
        {"(LUM!=)", false},
        {"(NME!\"\xff\")", false},
        {"(NME!\"a)", false},
        {"(NME!\"\\)", false},
        {R"-((NME!"\h))-", false},
        {"(&LUM!)", false},        // no checksum
        {"(&LUM!\"735\")", false}, // none that is a number
        {many + ")", false},
    };
    for (const auto& [line, isSound] : rows)
    {
        SCOPED_TRACE(line);
        CIpcMessage message;
        EXPECT_EQ(NSerialReply::Parse(line, message), isSound);
    }
    CIpcMessage message;
    ASSERT_TRUE(NSerialReply::Parse(R"-((NME!"\h41\h00"))-", message));
    std::string text;
    EXPECT_TRUE(message.GetArg(0, text));
    EXPECT_EQ(text, "A");
}
