// The wire form is a promise to every process on the local IPC, so its bytes are spelled out.
#include "software/utility/CIpcMessage.h"

#include "software/utility/CException.h"
#include "tests/support/CAllocationCount.h"

#include <functional>

#include <gtest/gtest.h>

namespace
{
using CBytes = std::vector<unsigned char>;

CBytes Serialize(CIpcMessage message)
{
    unsigned char* bytes = nullptr;
    const unsigned int length = message.SerializeMessage(bytes);
    return CBytes(bytes, bytes + length);
}

std::string GetMessage(const std::function<void()>& action)
{
    try
    {
        action();
    }
    catch (const CException& error)
    {
        EXPECT_NE(std::string(error.what()).find("software/utility/CIpcMessage:"), std::string::npos);
        return error.GetMessage();
    }
    return "nothing was thrown";
}

std::string GetText(const CIpcMessage& message, unsigned short key)
{
    std::string text = "(absent)";
    message.GetArg(key, text);
    return text;
}

int GetFlags(const CIpcMessage& message, unsigned short key)
{
    EParmFlags flags = eParmText;
    return message.GetArgFlags(key, flags) ? flags : -1;
}

/// "PWR", sub-code "LAMP", flags 0x12, key 0 the number 7 with modifier W, key 0x0102 the text "on".
const CBytes kSample = {
    0xFE, 0x13, 0x12, 0x00, 0x00, 0x00, 0x00, 0x00, // magic, flags, type
    0x52, 0x57, 0x50, 0x00, 0x50, 0x4D, 0x41, 0x4C, // code, sub-code
    0x00, 0x00, 0x00, 0x00, 0x02, 0x00, 0x25, 0x00, // reserved, second word, count, length
    0x43, 0x57, 0x00, 0x00, 0x37, 0x00,             // argument 0
    0x00, 0x00, 0x02, 0x01, 0x6F, 0x6E, 0x00,       // argument 0x0102
};

CIpcMessage MakeSample()
{
    CIpcMessage message;
    message.SetCode("PWR");
    message.SetSubCode("LAMP");
    message.SetFlags(eFlagRequest | eFlagReplyWanted);
    message.AddArg(0x0102, "on");
    message.AddArg(0, 7, eParmText, 'W');
    return message;
}

CBytes With(std::size_t offset, unsigned char value)
{
    CBytes bytes = kSample;
    bytes.at(offset) = value;
    return bytes;
}
} // namespace

TEST(IpcMessage, NewMessageIsAHeaderWithPlaceholders)
{
    const CBytes expected = {0xFE, 0x13, 0,    0,    0, 0, 0, 0, 0x21, 0x21, 0x21, 0,
                             0x21, 0x21, 0x21, 0x21, 0, 0, 0, 0, 0,    0,    24,   0};
    const CIpcMessage message(eMessageControl);
    EXPECT_EQ(Serialize(message), expected);
    EXPECT_EQ(message.GetCode(), "!!!");
    EXPECT_EQ(message.GetSubCode(), "!!!!");
    EXPECT_EQ(message.GetSource(), 65533);
    EXPECT_EQ(message.GetDestination(), 65533);
}

TEST(IpcMessage, CodesHaveTheirExactLength)
{
    CIpcMessage message;
    EXPECT_EQ(GetMessage([&] { message.SetCode("PW"); }), "Invalid code PW");
    EXPECT_EQ(GetMessage([&] { message.SetCode(""); }), "Invalid code ");
    EXPECT_EQ(GetMessage([&] { message.SetCode("POWER"); }), "Invalid code POWER");
    EXPECT_EQ(GetMessage([&] { message.SetSubCode("AB"); }), "Invalid subcode AB");
    EXPECT_EQ(message.GetCode() + message.GetSubCode(), "!!!!!!!"); // refusals change nothing
    message.SetCode("\xC3\x9F!");                                   // bytes above 0x7F do not spill
    message.SetSubCode("LAMP");
    EXPECT_EQ(message.GetCode(), "\xC3\x9F!");
    EXPECT_EQ(message.GetSubCode(), "LAMP");
    message.SetSubCode("");
    EXPECT_EQ(message.GetSubCode(), "");
    const CBytes bytes = Serialize(message);
    EXPECT_EQ(CBytes(bytes.begin() + 8, bytes.begin() + 16), (CBytes{0x21, 0x9F, 0xC3, 0, 0, 0, 0, 0}));
}

TEST(IpcMessage, NumbersKeepTheirTextAndWidth)
{
    const struct
    {
        int mValue;
        int mGiven;
        const char* mText;
        int mFlags;
    } cases[] = {
        {7, 0, "7", 0x43},      {0, 0, "0", 0x43},       {-12, 0, "-12", 0x43},
        {123, 0, "123", 0x43},  {1234, 0, "1234", 0x44}, {-12345, 0, "-12345", 0x45},
        {42, 0x45, "42", 0x45}, {42, 0x61, "42", 0x61},  {-2147483647 - 1, 0, "-2147483648", 0x4A},
    };
    for (const auto& [value, given, text, flags] : cases)
    {
        SCOPED_TRACE(text);
        CIpcMessage message;
        message.AddArg(5, "replaced", 'X');
        message.AddArg(5, value, static_cast<EParmFlags>(given), 'W');
        unsigned char modifier = 0;
        int number = 0;
        EXPECT_EQ(GetText(message, 5), text);
        EXPECT_EQ(GetFlags(message, 5), flags);
        EXPECT_TRUE(message.GetModifier(5, modifier) && modifier == 'W');
        EXPECT_TRUE(message.GetArg(5, number) && number == value);
        EXPECT_TRUE(message.IsNumberArg(5) && !message.IsTextArg(5));
        EXPECT_EQ(message.GetNumArgs(), 1u);
    }
}

TEST(IpcMessage, OnlyWholeNumbersAreReadAsNumbers)
{
    const struct
    {
        const char* mText;
        int mFlags;
        bool mIsNumber;
    } cases[] = {
        {"12", 0x43, true},          {"-12", 0x20, true},   {"12", 0x00, false},
        {"12x", 0x43, false},        {"", 0x43, false},     {" 1", 0x43, false},
        {"2147483648", 0x4A, false}, {"0x10", 0x43, false}, {"007", 0x43, true},
    };
    for (const auto& [text, flags, isNumber] : cases)
    {
        SCOPED_TRACE(text);
        CBytes bytes = Serialize(CIpcMessage());
        const std::string value = text;
        bytes[20] = 1;
        bytes.insert(bytes.end(), {static_cast<unsigned char>(flags), 0, 9, 0});
        bytes.insert(bytes.end(), value.begin(), value.end());
        bytes.push_back(0);
        CIpcMessage message;
        message.DeserializeMessage(bytes.data(), "peer");
        int number = 4711;
        EXPECT_EQ(message.GetArg(9, number), isNumber);
        EXPECT_EQ(number != 4711, isNumber) << "a refusal must leave the value alone";
    }
}

TEST(IpcMessage, AbsentArgumentsAreNothing)
{
    CIpcMessage message;
    message.AddArg(1, "text");
    int number = 0;
    EXPECT_EQ(GetText(message, 2), "(absent)");
    EXPECT_FALSE(message.GetArg(2, number));
    EXPECT_EQ(GetFlags(message, 2), -1);
    EXPECT_FALSE(message.IsNumberArg(2) || message.IsTextArg(2));
    message.SetCharDelimiter(2);
    message.RemoveArg(2);
    EXPECT_EQ(message.GetNumArgs(), 1u);
    message.SetCharDelimiter(1);
    EXPECT_EQ(GetFlags(message, 1), 0x20);
    EXPECT_FALSE(message.IsNumberArg(1) || message.IsTextArg(1)); // neither once it is a delimiter
}

TEST(IpcMessage, The129thArgumentIsRefusedEvenAsAReplacement)
{
    CIpcMessage message;
    for (unsigned short key = 0; key < 128; ++key)
        message.AddArg(key, key);
    const auto expected = [](const char* key)
    { return std::string("Unable to add new message parameter.  MaxNumParms exceeded (") + key + ")"; };
    EXPECT_EQ(GetMessage([&] { message.AddArg(500, 1); }), expected("500"));
    EXPECT_EQ(GetMessage([&] { message.AddArg(500, "text"); }), expected("500"));
    EXPECT_EQ(GetMessage([&] { message.AddArg(7, 1); }), expected("7"));
    EXPECT_EQ(GetText(message, 7), "7");
    message.RemoveArg(0);
    EXPECT_NO_THROW(message.AddArg(500, 1));
}

TEST(IpcMessage, WalkIsInOrderOfKeyAndSurvivesChanges)
{
    CIpcMessage message;
    for (const unsigned short key : std::initializer_list<unsigned short>{65535, 3, 240, 0})
        message.AddArg(key, std::to_string(key));
    const auto walk = [](const CIpcMessage& m)
    {
        std::string seen;
        unsigned short key = 0;
        std::string value;
        for (bool more = m.GetFirstArg(key, value); more; more = m.GetNextArg(key, value))
            seen += std::to_string(key) + '=' + value + ' ';
        EXPECT_FALSE(m.GetNextArg(key, value)); // the end stays the end
        return seen;
    };
    EXPECT_EQ(walk(message), "0=0 3=3 240=240 65535=65535 ");
    EXPECT_EQ(walk(CIpcMessage()), "");

    unsigned short key = 0;
    std::string value;
    EXPECT_TRUE(message.GetFirstArg(key, value));
    EXPECT_TRUE(message.GetNextArg(key, value) && key == 3);
    message.RemoveArg(3);
    message.RemoveArg(240);
    const CIpcMessage copy(message);
    EXPECT_TRUE(message.GetNextArg(key, value) && key == 65535);
    message.ClearArgs();
    EXPECT_FALSE(message.GetNextArg(key, value));
    EXPECT_EQ(walk(copy), "0=0 65535=65535 ");
}

TEST(IpcMessage, SampleHasItsBytesBothWays)
{
    CIpcMessage made = MakeSample();
    EXPECT_EQ(Serialize(made), kSample);

    CIpcMessage read;
    read.AddArg(99, "goes away");
    EXPECT_TRUE(read.DeserializeMessage(kSample.data(), "peer"));
    EXPECT_EQ(Serialize(read), kSample);
    EXPECT_EQ(read.GetSender(), "peer");
    EXPECT_EQ(read.GetNumArgs(), 2u);
    EXPECT_EQ(read.GetCode() + "+" + read.GetSubCode(), "PWR+LAMP");
}

TEST(IpcMessage, UnknownHeaderFieldsAreCarriedThrough)
{
    CBytes bytes(kSample.begin(), kSample.begin() + 24);
    for (std::size_t i = 2; i < 20; ++i)
        bytes[i] = static_cast<unsigned char>(0xA0 + i);
    bytes[20] = 0;
    bytes[22] = 24;
    CIpcMessage message;
    message.DeserializeMessage(bytes.data(), nullptr);
    EXPECT_EQ(Serialize(message), bytes);
    CIpcMessage other;
    other.AddArg(1, "stays");
    other.CopyHeader(message);
    EXPECT_EQ(GetText(other, 1), "stays");
    other.ClearArgs();
    EXPECT_EQ(Serialize(other), bytes);
}

TEST(IpcMessage, LastOfDuplicateKeysWins)
{
    CBytes bytes = kSample;
    bytes[32] = bytes[33] = 0; // the second argument gets key 0 too
    CIpcMessage message;
    message.DeserializeMessage(bytes.data(), "peer");
    EXPECT_EQ(message.GetNumArgs(), 1u);
    EXPECT_EQ(GetText(message, 0), "on");
    EXPECT_TRUE(message.IsTextArg(0));
}

TEST(IpcMessage, LargestMessageIsBuiltAndTheNextIsNot)
{
    constexpr std::size_t kTextOfLargest = 4095 - 24 - 5;
    CIpcMessage message;
    unsigned char* bytes = nullptr;
    message.AddArg(0, std::string(kTextOfLargest + 1, 'x'));
    EXPECT_EQ(message.SerializeMessage(bytes), 4096u);
    EXPECT_EQ(bytes, nullptr);
    message.AddArg(0, std::string(kTextOfLargest, 'x'));
    ASSERT_EQ(message.SerializeMessage(bytes), 4095u);
    EXPECT_TRUE(CIpcMessage::IsWellFormed(bytes, 4095));
    unsigned char* const older = bytes;
    message.AddArg(0, std::string(kTextOfLargest + 1, 'x'));
    EXPECT_EQ(message.SerializeMessage(bytes), 4096u);
    EXPECT_EQ(bytes, older);
    EXPECT_TRUE(CIpcMessage::IsCompleteMessage(bytes, 4095));
}

TEST(IpcMessage, SerialisationAllocatesOneBuffer)
{
    CIpcMessage message = MakeSample();
    unsigned char* bytes = nullptr;
    for (int round = 0; round < 3; ++round)
    {
        const CAllocationCount count;
        message.SerializeMessage(bytes);
        EXPECT_EQ(count.Get(), 1u);
    }
}

TEST(IpcMessage, CopyHasEverythingButTheBuffer)
{
    CIpcMessage original;
    original.DeserializeMessage(kSample.data(), "peer");
    original.SetSource(7);
    original.SetDestination(65535);
    unsigned char* buffer = nullptr;
    original.SerializeMessage(buffer);

    CIpcMessage copy(original);
    CIpcMessage assigned;
    assigned.AddArg(77, "goes away");
    assigned = original;
    const CIpcMessage& itself = original;
    original = itself;
    unsigned char* again = nullptr;
    for (CIpcMessage* other : {&copy, &assigned})
    {
        EXPECT_EQ(CIpcMessage::GetMsgAsString(*other), "65535 7 PWR+LAMP? 7 on");
        EXPECT_EQ(other->GetSender(), "peer");
        EXPECT_EQ(Serialize(*other), kSample);
        other->AddArg(0, std::string(5000, 'x')); // too long, so that the buffer there is shows
        other->SerializeMessage(again);
        EXPECT_EQ(again, nullptr);
    }
    original.AddArg(0, std::string(5000, 'x'));
    original.SerializeMessage(again);
    EXPECT_EQ(again, buffer);
}

TEST(IpcMessage, ReplyGoesBackToTheSender)
{
    CIpcMessage message = MakeSample();
    message.SetFlags(0xFF & ~eFlagReply);
    message.SetSource(3);
    message.SetDestination(65535);
    message.MakeReply(12);
    EXPECT_EQ(message.GetFlags(), 0xCD);
    EXPECT_EQ(message.GetDestination(), 3);
    EXPECT_EQ(message.GetSource(), 12);
    EXPECT_EQ(message.GetNumArgs(), 0u);
    EXPECT_EQ(message.GetCode() + message.GetSubCode(), "PWRLAMP");
}

TEST(IpcMessage, LogFormShowsWhatItIs)
{
    CIpcMessage message;
    message.SetCode("LUM");
    message.SetSubCode("");
    EXPECT_EQ(CIpcMessage::GetMsgAsString(message), "65533 65533 LUM");
    message.SetFlag(eFlagReply);
    message.SetDestination(5);
    EXPECT_EQ(CIpcMessage::GetMsgAsString(message), "5 65533 LUM!");
    message.SetFlag(eFlagRequest);
    message.AddArg(1, "two words");
    message.AddArg(0, -5);
    EXPECT_EQ(CIpcMessage::GetMsgAsString(message), "5 65533 LUM? -5 two words");
}

TEST(IpcMessage, TextEndsAtItsNulSoThatTheMessageStaysReadable)
{
    CIpcMessage message;
    message.AddArg(0, std::string("ab\0cd", 5));
    message.AddArg(1, "next");
    const CBytes bytes = Serialize(message);
    EXPECT_TRUE(CIpcMessage::IsWellFormed(bytes.data(), bytes.size()));
    EXPECT_EQ(GetText(message, 0), "ab");
}

TEST(IpcMessage, HostileBytesAreNotWellFormed)
{
    CBytes tooMany = Serialize(CIpcMessage());
    tooMany[20] = 129;
    for (int i = 0; i < 129 * 5; ++i)
        tooMany.push_back(0);
    tooMany[22] = static_cast<unsigned char>(tooMany.size() & 0xFF);
    tooMany[23] = static_cast<unsigned char>(tooMany.size() >> 8);
    CBytes tooLong(4096, 0);
    std::copy(kSample.begin(), kSample.begin() + 20, tooLong.begin());
    tooLong[20] = 1;
    tooLong[22] = 0x00;
    tooLong[23] = 0x10;
    std::fill(tooLong.begin() + 28, tooLong.end() - 1, 'x');
    CBytes longer = kSample;
    longer.push_back(0);
    const std::pair<const char*, CBytes> cases[] = {
        {"wrong magic", With(0, 0xFF)},
        {"length field too small", With(22, 0x24)},
        {"length field too large", With(22, 0x26)},
        {"byte behind the end", longer},
        {"argument missing", With(20, 3)},
        {"argument left over", With(20, 1)},
        {"65282 arguments", With(21, 0xFF)},
        {"last zero missing", With(kSample.size() - 1, 'x')},
        {"129 arguments", tooMany},
        {"4096 bytes", tooLong},
    };
    for (const auto& [name, bytes] : cases)
    {
        SCOPED_TRACE(name);
        EXPECT_FALSE(CIpcMessage::IsWellFormed(bytes.data(), bytes.size()));
    }
    for (std::size_t length = 0; length < kSample.size(); ++length)
    {
        const CBytes part(kSample.begin(), kSample.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_FALSE(CIpcMessage::IsWellFormed(part.data(), part.size())) << length;
        EXPECT_FALSE(CIpcMessage::IsCompleteMessage(part.data(), static_cast<unsigned>(length))) << length;
    }
    EXPECT_TRUE(CIpcMessage::IsWellFormed(kSample.data(), kSample.size()));
    EXPECT_FALSE(CIpcMessage::IsCompleteMessage(longer.data(), static_cast<unsigned>(longer.size())));
}

TEST(IpcMessage, StreamTellsTheLengthOfItsFirstMessage)
{
    const auto measure = [](const CBytes& bytes)
    {
        std::size_t length = 4711;
        const bool possible = CIpcMessage::MeasureMessage(bytes.data(), bytes.size(), length);
        return possible ? static_cast<int>(length) : -1;
    };
    const auto start = [](std::size_t size)
    {
        CBytes two = kSample;
        two.insert(two.end(), kSample.begin(), kSample.end());
        two.resize(size);
        return two;
    };
    const struct
    {
        const char* mName;
        CBytes mBytes;
        int mExpected; // -1: no message starts like this
    } cases[] = {
        {"nothing", {}, 0},
        {"one byte", start(1), 0},
        {"23 bytes", start(23), 0},
        {"header alone", start(24), 37},
        {"whole", start(37), 37},
        {"the next follows", start(60), 37},
        {"wrong magic at once", {0xFE, 0x14}, -1},
        {"length 23", With(22, 23), -1},
        {"length 0x1025", With(23, 0x10), -1},
    };
    for (const auto& [name, bytes, expected] : cases)
    {
        SCOPED_TRACE(name);
        EXPECT_EQ(measure(bytes), expected);
    }
}

TEST(IpcMessage, NumbersAsTheyWereReadAreKeptWithoutLeadingZeros)
{
    const std::pair<const char*, const char*> cases[] = {
        {"0", "0"},
        {"-0", "0"},
        {"000", "0"},
        {"-000", "0"},
        {"00735", "735"},
        {"-05", "-5"},
        {"100", "100"},
        {"-100", "-100"},
        {"999999999", "999999999"},
        {"-999999999", "-999999999"},
    };
    for (const auto& [digits, kept] : cases)
    {
        CIpcMessage message;
        message.AddDecimal(3, digits, static_cast<EParmFlags>(0x63), 'W');
        EXPECT_EQ(GetText(message, 3), kept) << digits;
        EXPECT_EQ(GetFlags(message, 3), 0x63);
        unsigned char modifier = 0;
        EXPECT_TRUE(message.GetModifier(3, modifier) && modifier == 'W');
    }
}

TEST(IpcMessage, ArgumentsMayComeAndGoForEver)
{
    CIpcMessage message;
    const std::string text(40, 't');
    const auto change = [&](int round)
    {
        message.AddArg(1, round);
        message.AddArg(2, text);
        message.AddArg(0, round + 1);
        message.RemoveArg(1);
    };
    const auto isRight = [&](int round)
    {
        return message.GetNumArgs() == 2 && GetText(message, 0) == std::to_string(round + 1) &&
               GetText(message, 2) == text;
    };
    for (int round = 0; round < 10; ++round)
        change(round);
    for (int round = 0; round < 20000; ++round)
    {
        change(round);
        ASSERT_TRUE(isRight(round));
    }
    const CIpcMessage copy(message);
    message.ClearArgs();
    message.AddArg(0, "other");
    EXPECT_EQ(GetText(copy, 2), text);
    EXPECT_EQ(GetText(copy, 0), "20000");
}
