// Bytes of a serial line: what they mean, and what is written for them.
#include "tests/software/bp/serial/CSerialFixture.h"

#include "software/bp/serial/NSerialRouting.h"
#include "software/bp/serial/NSerialText.h"

#include <cstdio>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace
{
/// "PWR? 1/61 \"text\"": a number with its modifier in front and its flags behind, in hexadecimal.
std::string Tell(const CIpcMessage& message)
{
    std::string line = NIpcMsgUtil::GetFullCode(message);
    line += message.HasFlag(eFlagReply) ? "!" : "";
    line += message.HasFlag(eFlagRequest) ? "?" : "";
    unsigned short key = 0;
    std::string value;
    for (bool more = message.GetFirstArg(key, value); more; more = message.GetNextArg(key, value))
    {
        EParmFlags flags = eParmText;
        unsigned char modifier = 0;
        message.GetArgFlags(key, flags);
        message.GetModifier(key, modifier);
        if (key == eIpcArgAccessGroup)
            continue;
        char number[8];
        std::snprintf(number, sizeof number, "/%02x", static_cast<unsigned>(flags));
        line += ' ';
        if (modifier != 0)
            line += static_cast<char>(modifier);
        line += flags == eParmText ? '"' + value + '"' : value + number;
    }
    return line;
}

std::vector<std::string> TellAll(const std::vector<CIpcMessage>& messages)
{
    std::vector<std::string> told;
    for (const CIpcMessage& message : messages)
        told.push_back(Tell(message));
    return told;
}

std::string ErrorLine(const std::string& text)
{
    return "(65535 ERR00010 \"Syntax Error: " + text + "\")";
}

std::string Repeat(const std::string& text, std::size_t count)
{
    std::string all;
    for (std::size_t i = 0; i < count; ++i)
        all += text;
    return all;
}

std::string Checksum(const std::string& behindBracket)
{
    unsigned sum = 0;
    for (const char c : behindBracket)
        sum += static_cast<unsigned char>(c);
    return std::to_string(sum % 256);
}
} // namespace

TEST(VarnholtSerialParser, TakesMessagesHoweverTheyAreCut)
{
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"(PWR1)", {"PWR 1/61"}},
        {"(PWR 1)", {"PWR 1/41"}},
        {"(pwr1)", {"PWR 1/61"}},
        {"(PWR?)", {"PWR?"}},
        {"(PWR!001)", {}}, // a reply is nobody's business
        {"(PWR)", {"PWR"}},
        {" noise ) ! \"(PWR)", {"PWR"}},
        {"(PW)(P)()(PWR", {}},
        {"(PWR 1(LUM 2)", {"LUM 2/41"}},
        {"(PWR(LUM 2)", {"LUM 2/41"}},
        {"(P(L(LUM 2)", {"LUM 2/41"}},
        {"(7 (LUM 2)", {"LUM 2/41"}},
        {"(KST+TL(LUM 2)", {"LUM 2/41"}},
        {"(KST+TL)(LUM 2)", {"LUM 2/41"}},
        {"(KST+TLPX -12)", {"KST+TLPX -12/42"}},
        {"(kst + tlpx?)", {"KST+TLPX?"}},
        {"(KST+TLPX7)", {"KST+TLPX 7/61"}},
        {"(SRC?L)", {"SRC? L0/60"}},
        {"(SRC? L)", {"SRC? L0/60"}},
        {"(ABC 1 2\t3\r\n4 A5B6)", {"ABC 1/41 2/41 3/41 4/41 A5/61 B6/61"}},
        {"(NME \"a b\" R\"x\"\"y\"5)", {"NME \"a b\" R\"x\" \"y\" 5/41"}},
        {"(NOT R\"PWR\" W\"LUM\")", {"NOT \"RECORDER\" R\"PWR\" W\"LUM\""}},
        {"(NME \"(\")", {}}, // syntax errors have a test of their own
        {"(NME \"\\(\\)\\\"\\\\\")", {"NME \"()\"\\\""}},
        {"(NME \"\\h41\\H42\\h00\\b\\q\")", {"NME \"AB\x01q\""}},
        {"(ABC 99999999999 -99999999999 00000000000000000000000000000000000007)",
         {"ABC 2147483647/4b -2147483648/4b 7/5f"}},
        {"(ABC - --)", {"ABC 0/41 0/41"}},
        {"(ABC 1-2 -0 -07 999999999 1234567890 -)", {"ABC 1/43 0/41 -7/42 999999999/49 1234567890/4a 0/41"}},
        {"(ABC A-5 B- C\"\\(x\"D)", {"ABC A-5/61 B0/60 C\"(x\" D0/60"}},
        {std::string("(ABC 1\0002 \0)", 11), {"ABC 1/41 2/41"}},
        {"(DGN 1)", {"DGN? 1/41"}},
        {"(TST)(EVT)(BST!)", {"TST?", "EVT?"}},
        {"(FYI00001 \"x\")(ERR00101 \"x\")(ERR?)", {}},
        {"($#PWR)", {"PWR"}},
        {"(65535 PWR)(65534 PWR)(00007 PWR)", {"PWR", "PWR"}},
        {"(65535 00003 PWR)", {"PWR"}},
    };
    for (const auto& [bytes, expected] : cases)
    {
        for (std::size_t piece = 1; piece <= bytes.size(); ++piece)
        {
            SCOPED_TRACE(bytes + " in pieces of " + std::to_string(piece));
            CRecordedLine line;
            line.Feed(bytes, piece);
            EXPECT_EQ(TellAll(line.TakeMessages()), expected);
        }
    }
}

TEST(VarnholtSerialParser, NamesEverySyntaxErrorAndGoesOn)
{
    const std::string digits(49, '1');
    const std::pair<std::string, std::string> cases[] = {
        {"(PWR " + digits + "1", "buffer overflow: 50"},
        {"(" + std::string(50, ' '), "buffer overflow: 50"},
        {"(PWR" + Repeat(" 1", 129) + ")", "too many parms: 128"},
        {"(PWR" + Repeat(" 1", 128) + " \"x\"", "too many parms: 128"},
        {"(NME \"a)", "escape expected: 41"},
        {"(NME \"a(", "escape expected: 40"},
        {"(NME \"a\n", "escape expected: 10"},
        {"(NME \"a\x11", "escape expected: 17"},
        {"(NME \"a\x13", "escape expected: 19"},
        {"(NME \"" + std::string(1024, 'x'), "text buffer overflow"},
        {"(NME \"" + std::string(1023, 'x') + "\\q", "text buffer overflow"},
        {"(NME \"" + std::string(1023, 'x') + "\\h41", "text buffer overflow"},
        {"(PWRX", "Invalid code"},
        {"(KST+TLPXY", "Invalid subcode"},
        {"(* P", "dest address missing"},
        {"(-1 P", "dest address missing"},
        {"(1024 P", "dest address out of range: 1024"},
        {"(65533 P", "dest address out of range: 65533"},
        {"(99999999999 P", "dest address out of range: 2147483647"},
        {"(7 * P", "src address missing"},
        {"(7 8 9 P", "src address missing"},
        {"(7 1024 P", "src address out of range: 1024"},
        {"(&PWR)", "no checksum"},
        {"(&PWR \"1\")", "checksum not a number"},
        {"(&PWR 1 2)", "checksum failed: 2"},
        {"(&PWR A0)", "checksum failed: 0"},
    };
    for (const auto& [bytes, text] : cases)
    {
        for (const std::size_t piece : {std::size_t{1}, std::size_t{4096}})
        {
            SCOPED_TRACE(bytes);
            CRecordedLine line;
            EXPECT_EQ(line.Feed(bytes, piece), ErrorLine(text));
            EXPECT_EQ(line.mResult, ERxResult::SyntaxError);
            EXPECT_TRUE(line.mLog.Has(ELogLevel::Warning, "Syntax Error: " + text));
            EXPECT_THAT(line.TakeMessages(), IsEmpty());
            EXPECT_EQ(line.Feed("(PWR?)"), "(PWR!)");
            EXPECT_EQ(line.mResult, ERxResult::Complete);
        }
    }
}

TEST(VarnholtSerialParser, TakesUpToTheLimits)
{
    CRecordedLine line;
    EXPECT_EQ(line.Feed("(PWR " + std::string(49, '1') + ")(NME \"" + std::string(1023, 'x') + "\")"), "");
    EXPECT_EQ(line.TakeMessages().size(), 2u);
    // 128 arguments are a message; the link has its own argument to add, and says so.
    EXPECT_EQ(line.Feed("(PWR" + Repeat(" 1", 128) + ")"), "(65535 ERR00004 \"PWR: Too Many Parameters\")");
    EXPECT_EQ(line.Feed("(NME" + Repeat(" \"" + std::string(1023, 'x') + "\"", 5) + ")"),
              "(65535 ERR00107 \"NME: Exceeded List Size\")");
}

TEST(VarnholtSerialParser, ChecksumCountsFromTheLatestBracketToTheBlank)
{
    // & 0x26 P 0x50 W 0x57 R 0x52 blank 0x20 1 0x31 blank 0x20: 0x190
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"(&PWR 1 144)", {"PWR 1/41"}},
        {"(&LUM 5(&PWR 1 144)", {"PWR 1/41"}},
        {"((&PWR 1 144)", {"PWR 1/41"}},
        {"(&PWR 1 145)", {}},
        {"(&PWR" + Checksum("&PWR") + ")", {"PWR"}},
        {"(&PWR 1  " + Checksum("&PWR 1  ") + ")", {"PWR 1/41"}},
        {"(&NME \"\\(\" " + Checksum("&NME \"\\(\" ") + ")", {"NME \"(\""}},
        {"(&KST+TLPX?" + Checksum("&KST+TLPX?") + ")", {"KST+TLPX?"}},
        {"(&PWR A" + Checksum("&PWR A") + ")", {"PWR"}},
    };
    for (const auto& [bytes, expected] : cases)
    {
        for (std::size_t piece = 1; piece <= bytes.size(); ++piece)
        {
            SCOPED_TRACE(bytes);
            CRecordedLine line;
            line.Feed(bytes, piece);
            EXPECT_EQ(TellAll(line.TakeMessages()), expected);
        }
    }
    CRecordedLine line;
    EXPECT_EQ(line.Feed("(&PWR? " + Checksum("&PWR? ") + ")"), "(&PWR! 096)") << "and so does what is sent";
}

TEST(VarnholtSerialParser, SendFormatsEveryMember)
{
    struct SCase
    {
        const char* mLine;
        unsigned mFlags;
        unsigned short mDestination;
        unsigned short mSource;
        void (*mFill)(CIpcMessage& message);
    };
    constexpr unsigned short kNone = CIpcMessage::kNoAddress;
    const SCase cases[] = {
        {"(PWR)", 0, kNone, kNone, [](CIpcMessage&) {}},
        {"(PWR)", 0, kNone, 5, [](CIpcMessage&) {}},
        {"(00007 PWR)", 0, 7, kNone, [](CIpcMessage&) {}},
        {"(65535 00007 PWR!)", eFlagReply, 65535, 7, [](CIpcMessage&) {}},
        {"($PWR?)", eFlagRequest | eFlagReplyWanted | eFlagHash, kNone, kNone, [](CIpcMessage&) {}},
        {"(#PWR)", eFlagHash, kNone, kNone, [](CIpcMessage&) {}},
        {"(PWR001 002)", 0, kNone, kNone,
         [](CIpcMessage& m)
         {
             m.AddArg(0, 1);
             m.AddArg(1, 2);
         }},
        {"(PWR A1B2)", 0, kNone, kNone,
         [](CIpcMessage& m)
         {
             m.AddArg(0, 1, static_cast<EParmFlags>(0x61), 'A');
             m.AddArg(1, 2, static_cast<EParmFlags>(0x61), 'B');
         }},
        {"(PWR?L)", eFlagRequest, kNone, kNone, [](CIpcMessage& m) { m.AddArg(0, 0, eParmNumber, 'L'); }},
        {"(PWR-00012 -9 0000005 12345678)", 0, kNone, kNone,
         [](CIpcMessage& m)
         {
             m.AddArg(0, -12, static_cast<EParmFlags>(0x45));
             m.AddArg(1, -9, static_cast<EParmFlags>(0x49)); // the width is what the low three bits say
             m.AddArg(2, 5, static_cast<EParmFlags>(0x47));
             m.AddArg(3, 12345678);
         }},
        {"(PWR\"\\\"\\(\\)\\\\\" \"\\b\\n\\e\\g\\s\\x\")", 0, kNone, kNone,
         [](CIpcMessage& m)
         {
             m.AddArg(0, "\"()\\");
             m.AddArg(1, "\x01\x0A\x0E\x11\x13\x1B");
         }},
    };
    for (const SCase& c : cases)
    {
        SCOPED_TRACE(c.mLine);
        CRecordedLine line;
        CIpcMessage message;
        message.SetCode("PWR");
        message.SetSubCode("");
        message.SetFlags(static_cast<std::uint16_t>(c.mFlags));
        message.SetDestination(c.mDestination);
        message.SetSource(c.mSource);
        c.mFill(message);
        EXPECT_EQ(line.mParser.Send(NSerialRouting::kOwnPort, &message),
                  static_cast<int>(std::string(c.mLine).size()));
        EXPECT_EQ(line.mPort.Take(), c.mLine);
        line.mParser.Send(2, &message);
        EXPECT_EQ(line.mPort.Take(), "") << "for other ports";
    }
}

TEST(VarnholtSerialParser, ErrorsHaveTheFormOfTheirLevel)
{
    CRecordedLine line;
    CIpcMessage cause;
    cause.SetDestination(7);
    CVarnholtSerialParser& parser = line.mParser;
    parser.SendError(ELogLevel::Error, eErrorHardware, "fan", &cause);
    parser.SendError(ELogLevel::Warning, eErrorHardware, "fan", nullptr);
    parser.SendError(ELogLevel::Fyi, eErrorHardware, "fan", &cause);
    parser.SendError(ELogLevel::Normal, eErrorSerialReceive, "fan", &cause);
    EXPECT_EQ(parser.ProcessErrors("fan", ELogLevel::Debug, eFyiHardware), ERxResult::Busy);
    CVarnholtSerialParser::UpdateAddress(9);
    parser.SendErrorBroadcast(ELogLevel::Normal, eErrorHardware, "fan");
    parser.BroadcastKey(5);
    EXPECT_EQ(line.mPort.Take(), "(00007 ERR00112 \"System Error: fan\")"
                                 "(65535 ERR00112 \"System Warning: fan\")"
                                 "(00007 FYI00112 \"fan\")"
                                 "(65535 ERR00010 \"fan\")"
                                 "(65535 ERR00004 \"fan\")"
                                 "(65535 00009 ERR00112 \"fan\")"
                                 "(65535 00009 KEY005)");
}

TEST(VarnholtSerialParser, HexadecimalDigitsRefuseNothing)
{
    const std::pair<char, int> cases[] = {{'0', 0},  {'9', 9}, {'A', 10}, {'F', 15}, {'a', 10},
                                          {'f', 15}, {'G', 0}, {'g', 0},  {'@', 0},  {'`', 9},
                                          {':', 10}, {' ', 0}, {'/', 15}};
    for (const auto& [c, value] : cases)
        EXPECT_EQ(NSerialText::HexToBin(c), value) << c;
}

TEST(VarnholtSerialParser, RefusesTextThatNobodyMayStore)
{
    const std::string cases[] = {std::string("(NME \"a\0b\")", 11), std::string("(NME \"\\\0\")", 10),
                                 "(NME \"\xFF\")", "(NME \"\\hC3\")", "(NME \"ok\" \"\xC3\")"};
    for (const std::string& bytes : cases)
    {
        CRecordedLine line;
        EXPECT_EQ(line.Feed(bytes), "(65535 ERR00104 \"NME: Invalid Value\")");
        EXPECT_THAT(line.TakeMessages(), IsEmpty());
    }
    CRecordedLine line;
    EXPECT_EQ(line.Feed("(NME \"\xC3\xA4\\hC3\\hA4\")"), "");
    EXPECT_THAT(TellAll(line.TakeMessages()), ElementsAre("NME \"\xC3\xA4\xC3\xA4\""));
}

TEST(VarnholtSerialParser, AddressesDecideWhoActs)
{
    struct SCase
    {
        int mAddress;
        const char* mLine;
        const char* mAnswer; // to a request; empty when it is another unit's
    };
    const SCase cases[] = {
        {-1, "(PWR?)", "(PWR!)"},
        {-1, "(65535 PWR?)", "(PWR!)"},
        {-1, "(65534 PWR?)", "(PWR!)"},
        {-1, "(00007 PWR?)", ""},
        {-1, "(65535 00003 PWR?)", "(00003 PWR!)"},
        {7, "(PWR?)", "(PWR!)"},
        {7, "(00007 00003 PWR?)", "(00003 00007 PWR!)"},
        {7, "(7PWR?)", "(PWR!)"},
        {7, "(7\t3pwr?)", "(00003 00007 PWR!)"},
        {7, "(65534 00003 PWR?)", "(00003 00007 PWR!)"},
        {7, "(65535 00003 PWR?)", "(00003 00007 PWR!)"},
        {7, "(65535 00007 PWR?)", "(00007 00007 PWR!)"},
        {7, "(00008 00003 PWR?)", ""},
        {1023, "(01023 PWR?)", "(PWR!)"},
        {1024, "(PWR?)", "(PWR!)"}, // no address
        {7, "(#&00007 00003 PWR? 203)", "(&#00003 00007 PWR! 173)"},
    };
    for (const SCase& c : cases)
    {
        SCOPED_TRACE(c.mLine);
        CRecordedLine line;
        CVarnholtSerialParser::UpdateAddress(c.mAddress);
        EXPECT_EQ(line.Feed(c.mLine), c.mAnswer);
    }
}

TEST(VarnholtSerialParser, NoiseOfEveryByteValueIsAnsweredOrDropped)
{
    CRecordedLine line;
    std::uint32_t random = 1;
    for (int round = 0; round < 2000; ++round)
    {
        std::string bytes = round % 2 == 0 ? "(" : "(ABC ";
        for (int i = 0; i < 60; ++i)
        {
            random = random * 1664525 + 1013904223;
            bytes += static_cast<char>(random >> 24);
        }
        line.Feed(bytes, 1 + random % 64);
        ASSERT_FALSE(line.mParser.IsClosed());
    }
    line.Feed("\")"); // whatever was left open
    line.TakeMessages();
    line.Feed("(PWR 1)");
    EXPECT_THAT(TellAll(line.TakeMessages()), ElementsAre("PWR 1/41"));
}

TEST(VarnholtSerialParser, APortThatFailsClosesItForGood)
{
    CRecordedLine unplugged;
    unplugged.mPort.mIsUnplugged = true;
    EXPECT_EQ(unplugged.mParser.ProcessData(), ERxResult::Closed);
    unplugged.mPort.mInput = "(PWR?)";
    EXPECT_EQ(unplugged.mParser.ProcessData(), ERxResult::Closed);
    EXPECT_EQ(unplugged.mPort.Take(), "");
    EXPECT_FALSE(unplugged.mParser.IsSelectable());

    CRecordedLine failing;
    failing.mPort.mFails = true;
    failing.mPort.mInput = "(PWR?)";
    EXPECT_EQ(failing.mParser.ProcessData(), ERxResult::Closed);

    CRecordedLine relayed;
    relayed.mPort.mFails = true;
    relayed.mParser.RelayMessage(reinterpret_cast<const unsigned char*>("(A)"), 0);
    EXPECT_FALSE(relayed.mParser.IsClosed()) << "nothing to write";
    relayed.mParser.RelayMessage(reinterpret_cast<const unsigned char*>("(A)"), 3);
    EXPECT_TRUE(relayed.mParser.IsClosed());
    EXPECT_THAT(relayed.mLog.GetLines().back().mText,
                HasSubstr("Parser relay failure - parser will be closed. "));
}

TEST(VarnholtSerialParser, DefaultAccessGroupIsThatOfACallerWhoIsNotLoggedIn)
{
    CRecordedLine line;
    line.mParser.SetDefaultAccessGroup(2);
    line.Feed("(PWR 1)");
    const std::vector<CIpcMessage> messages = line.TakeMessages();
    ASSERT_EQ(messages.size(), 1u);
    int group = 0;
    EXPECT_TRUE(messages.front().GetArg(eIpcArgAccessGroup, group));
    EXPECT_EQ(group, 2);
}
