// Bytes against the documented layout, properties against their types, and random messages there and back.
#include "cep/CCepMessage.h"

#include "cep/CCRC.h"
#include "software/utility/NHex.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <random>

using namespace LibMarlix;

namespace
{
using Bytes = std::vector<unsigned char>;

Bytes FromHex(std::string text)
{
    text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
    Bytes bytes;
    EXPECT_TRUE(NHex::FromText(text, bytes)) << text;
    return bytes;
}

Bytes Encode(const CCepMessage& message, EVERSION format, bool withCrc = false)
{
    std::size_t length = 0xBAD;
    const std::unique_ptr<unsigned char[]> bytes(message.toBytes(format, length, withCrc));
    return bytes ? Bytes(bytes.get(), bytes.get() + length) : Bytes();
}

bool Decode(CCepMessage& message, const Bytes& bytes, bool checkCrc = false)
{
    std::size_t consumed = 0;
    return message.fromBytes(bytes.data(), bytes.size(), consumed, checkCrc) && consumed == bytes.size();
}

CCepMessage MakeHeader()
{
    CCepMessage message;
    message.setMinorVersion(0x11);
    message.setCommandCode(0x22);
    message.setObjectId(0x3344);
    message.setErrorCode(0x5566);
    message.setDestinationId(0x77);
    message.setSourceId(0x88);
    message.setSecurityId(0x99);
    message.setCrc(0xAABB);
    message.setSequenceNumber(0xCC);
    return message;
}

const std::string kHeader1 = "7b02342b 01 11 22 44 6655 88 99 bbaa cc 000000";
const std::string kHeader2 = "7b02342b 02 11 22 4433 6655 77 88 99 bbaa cc 00";
} // namespace

TEST(CepMessage, HasTheDocumentedBytesInBothFormats)
{
    CCepMessage message = MakeHeader();
    message.setUInt16(0x01020304, 0x1234);
    message.setString(7, "ab");
    message.setProperty(9, nullptr, 0, eTypeString);
    const Bytes first = FromHex(kHeader1 + "13 07000000 02 6162 09000000 00 04030201 02 3412");
    const Bytes second = FromHex(kHeader2 + "16 07000000 03 0c 6162 09000000 01 0c 04030201 03 03 3412");
    EXPECT_EQ(Encode(message, eVersion1), first);
    EXPECT_EQ(Encode(message, eVersion2), second);
    EXPECT_EQ(Encode(CCepMessage(), eVersion2), FromHex("7b02342b02 0000000000000000000000000000"));

    CCepMessage decoded;
    ASSERT_TRUE(Decode(decoded, first));
    EXPECT_EQ(decoded.getFormat(), eVersion1);
    EXPECT_EQ(decoded.getObjectId(), 0x44);
    EXPECT_EQ(decoded.getDestinationId(), 0);
    EXPECT_EQ(decoded.getType(7), eTypeUnknown);
    ASSERT_TRUE(Decode(decoded, second));
    EXPECT_EQ(decoded.getFormat(), eVersion2);
    EXPECT_EQ(decoded.getMajorVersion(), 2);
    EXPECT_EQ(decoded.getCrc(), 0xAABB);
    EXPECT_EQ(decoded.getMessageKeys(), (std::vector<std::uint32_t>{7, 9, 0x01020304}));
    EXPECT_EQ(Encode(decoded, eVersion2), second);
}

TEST(CepMessage, CarriesTheCrcOfItsOwnBytes)
{
    for (const EVERSION format : {eVersion1, eVersion2})
    {
        CCepMessage message = MakeHeader();
        message.setUInt32(1, 0xCAFE);
        Bytes bytes = Encode(message, format, true);
        const std::size_t at = format == eVersion1 ? 12 : 14;
        Bytes zeroed = bytes;
        zeroed[at] = zeroed[at + 1] = 0;
        EXPECT_EQ(bytes[at] + 256 * bytes[at + 1], CCRC::calcCRC16(0, zeroed.data(), zeroed.size()));
        CCepMessage decoded;
        EXPECT_TRUE(Decode(decoded, bytes, true));
        bytes.back() ^= 1;
        EXPECT_FALSE(Decode(decoded, bytes, true));
        EXPECT_EQ(decoded.getDecodingError(), eCepWrongCrc);
        EXPECT_EQ(decoded.getMessageKeyCount(), 1u) << "the properties of the last good one stay";
        EXPECT_TRUE(Decode(decoded, bytes, false));
    }
}

TEST(CepMessage, RefusesBytesThatAreNoMessageAndTellsHowLongOneIs)
{
    struct SCase
    {
        const char* mWhat;
        std::string mHex;
        std::uint32_t mError;
        std::size_t mConsumed;
    };
    const SCase cases[] = {
        {"nothing", "", 121, 0},
        {"no length byte", kHeader2, 121, 0},
        {"another magic", "7b02342a" + kHeader2.substr(8) + "00", 121, 0},
        {"format 0", "7b02342b 00" + kHeader2.substr(11) + "00", 121, 0},
        {"format 3 reads as 2", "7b02342b 03" + kHeader2.substr(11) + "07 01000000 02 01 05", 120, 26},
        {"indefinite length", kHeader2 + "80", 122, 0},
        {"half a length", kHeader2 + "8201", 122, 0},
        {"area missing", kHeader2 + "83ffffff", 122, 18 + 4 + 0xFFFFFF},
        {"key cut by the area", kHeader2 + "03 010000", 122, 22},
        {"length cut by the area", kHeader2 + "04 01000000", 122, 23},
        {"property beyond the area", kHeader2 + "07 01000000 03 01 05", 122, 26},
        {"property length 0 in format 2", kHeader2 + "05 01000000 00", 122, 24},
        {"property length 0 in format 1", kHeader1 + "05 01000000 00", 120, 24},
        {"property with an unreadable length", kHeader2 + "07 01000000 80 01 05", 122, 26},
        {"longer form than needed", kHeader2 + "820007 01000000 02 01 05", 120, 28},
        {"no properties", kHeader2 + "00", 120, 19},
        {"bytes behind the message", kHeader2 + "00 7b02", 120, 19},
    };
    for (const SCase& c : cases)
    {
        SCOPED_TRACE(c.mWhat);
        const Bytes bytes = FromHex(c.mHex);
        const Bytes before = bytes;
        CCepMessage message;
        message.setUInt8(42, 1);
        std::size_t consumed = 0xBAD;
        EXPECT_EQ(message.fromBytes(bytes.data(), bytes.size(), consumed, false), c.mError == 120);
        EXPECT_EQ(message.getDecodingError(), c.mError);
        EXPECT_EQ(consumed, c.mConsumed);
        EXPECT_EQ(bytes, before);
    }
}

TEST(CepMessage, KeepsTheLaterOfTwoEqualKeysInAnyOrder)
{
    CCepMessage message;
    ASSERT_TRUE(Decode(message, FromHex(kHeader2 + "1c 05000000 02 01 01 03000000 02 01 02"
                                                   "05000000 02 01 03 01000000 02 01 04")));
    EXPECT_EQ(message.getMessageKeys(), (std::vector<std::uint32_t>{1, 3, 5}));
    std::uint8_t value = 0;
    EXPECT_TRUE(message.getUInt8(5, value));
    EXPECT_EQ(value, 3);
}

TEST(CepMessage, GettersTakeTheTypesOfTheirWidth)
{
    // One of each type, and what each getter says to each of them.
    const std::uint8_t types[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 12, 15, 31, 32, 33, 34, 35, 36, 37, 38, 39};
    CCepMessage message;
    const unsigned char zeros[8] = {};
    for (const std::uint8_t type : types)
        message.setProperty(type, zeros, sizeof zeros, type);

    // @returns a getter that does not care for the value
    const auto getter = [&](auto get, auto value)
    { return [&message, get, value](std::uint32_t key) mutable { return (message.*get)(key, value); }; };
    using M = CCepMessage;
    struct SGetter
    {
        const char* mName;
        std::function<bool(std::uint32_t)> mGet;
        std::vector<std::uint8_t> mTakes;
    };
    const SGetter getters[] = {
        {"getUInt8", getter(&M::getUInt8, std::uint8_t()), {1, 2}},
        {"getInt8", getter(&M::getInt8, std::int8_t()), {1, 2}},
        {"getUInt16", getter(&M::getUInt16, std::uint16_t()), {3, 4}},
        {"getInt16", getter(&M::getInt16, std::int16_t()), {3, 4}},
        {"getUInt32", getter(&M::getUInt32, std::uint32_t()), {5, 6}},
        {"getInt32", getter(&M::getInt32, std::int32_t()), {5, 6}},
        {"getUInt64", getter(&M::getUInt64, std::uint64_t()), {7, 8}},
        {"getInt64", getter(&M::getInt64, std::int64_t()), {7, 8}},
        {"getBool", getter(&M::getBool, false), {9}},
        {"getString", getter(&M::getString, std::string()), {12}},
        {"getXml", getter(&M::getXml, std::string()), {15}},
        {"getArrayUInt8", getter(&M::getArrayUInt8, std::vector<std::uint8_t>()), {31, 32}},
        {"getArrayInt16", getter(&M::getArrayInt16, std::vector<std::int16_t>()), {33, 34}},
        {"getArrayUInt32", getter(&M::getArrayUInt32, std::vector<std::uint32_t>()), {35, 36}},
        {"getArrayInt64", getter(&M::getArrayInt64, std::vector<std::int64_t>()), {37, 38}},
        {"getArrayBool", getter(&M::getArrayBool, std::vector<bool>()), {39}},
        {"getData", getter(&M::getData, Bytes()), Bytes(std::begin(types), std::end(types))},
    };
    for (const EVERSION format : {eVersion2, eVersion1})
    {
        message.setFormat(format);
        for (const SGetter& g : getters)
        {
            for (const std::uint8_t type : types)
            {
                SCOPED_TRACE(g.mName + std::string(" of type ") + std::to_string(type));
                const bool isTaken =
                    format == eVersion1 || std::count(g.mTakes.begin(), g.mTakes.end(), type) > 0;
                EXPECT_EQ(g.mGet(type), isTaken);
                EXPECT_EQ(message.getDecodingError(), isTaken ? 120u : 125u);
            }
            EXPECT_FALSE(g.mGet(1000));
            EXPECT_EQ(message.getDecodingError(), 124u);
        }
    }
}

TEST(CepMessage, RefusesDataThatTheTypeCanNotHave)
{
    CCepMessage message;
    const unsigned char bytes[] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    message.setProperty(1, bytes, 3, eTypeUInt32);
    message.setProperty(2, bytes, 9, eTypeUInt32);
    message.setProperty(3, bytes, 9, eTypeArrayUInt16);
    message.setProperty(4, nullptr, 0, eTypeArrayUInt16);
    std::uint32_t number = 77;
    EXPECT_FALSE(message.getUInt32(1, number));
    EXPECT_EQ(message.getDecodingError(), 125u);
    EXPECT_EQ(number, 77u);
    EXPECT_TRUE(message.getUInt32(2, number));
    EXPECT_EQ(number, 0x04030201u);
    std::vector<std::uint16_t> array{7};
    EXPECT_FALSE(message.getArrayUInt16(3, array));
    EXPECT_EQ(array.size(), 1u);
    EXPECT_TRUE(message.getArrayUInt16(4, array));
    EXPECT_TRUE(array.empty());

    EXPECT_FALSE(message.setProperty(5, nullptr, 1, eTypeString));
    EXPECT_FALSE(message.setData(5, bytes, CCepMessage::kMaxDataSize + 1));
    EXPECT_FALSE(message.setArrayUInt64(5, nullptr, 0xFFFFFFFF)) << "counted in bytes it would wrap";
    EXPECT_FALSE(message.containsKey(5));
}

TEST(CepMessage, EncodesUpToTheLongestLengthAndNoFurther)
{
    CCepMessage message;
    const Bytes data(CCepMessage::kMaxDataSize, 0x55);
    ASSERT_TRUE(message.setData(1, data.data(), static_cast<std::uint32_t>(data.size())));
    const Bytes bytes = Encode(message, eVersion2, true);
    CCepMessage decoded;
    ASSERT_TRUE(Decode(decoded, bytes, true));
    EXPECT_EQ(decoded.getSize(1), data.size());
    message.setUInt8(2, 0);
    std::size_t length = 0xBAD;
    EXPECT_EQ(message.toBytes(eVersion2, length, true), nullptr);
    EXPECT_EQ(length, 0u);
}

TEST(CepMessage, ReplacesAndRemovesProperties)
{
    CCepMessage message;
    message.setString(5, std::string(40, 'x'));
    message.setUInt8(1, 1);
    message.setUInt8(9, 9);
    message.setInt16(5, -2);
    EXPECT_EQ(message.getMessageKeyCount(), 3u);
    EXPECT_EQ(message.getSize(5), 2u);
    EXPECT_TRUE(message.testProperty(5, eTypeUInt16));
    EXPECT_TRUE(message.removeProperty(1));
    EXPECT_FALSE(message.removeProperty(1));
    EXPECT_EQ(message.getDecodingError(), 124u);
    const CCepMessage copy = message;
    message.clearProperties();
    EXPECT_FALSE(message.containsKey(5));
    std::int16_t value = 0;
    EXPECT_TRUE(copy.getInt16(5, value));
    EXPECT_EQ(value, -2);

    // The bytes given may be those of a property of the same message.
    CCepMessage self;
    const std::string longText(40, 'y');
    self.setString(1, longText);
    std::string text;
    EXPECT_TRUE(self.getString(1, text) && self.setXml(0, text) && self.getXml(0, text));
    EXPECT_EQ(text, longText);
}

namespace
{
/// A message with random header and properties, among them every setter with extreme values.
CCepMessage MakeRandom(std::mt19937& random)
{
    const auto number = [&] { return std::uint64_t{random()} << 32 | random(); };
    CCepMessage m;
    m.setMinorVersion(static_cast<std::uint8_t>(number()));
    m.setCommandCode(static_cast<std::uint8_t>(number()));
    m.setObjectId(static_cast<std::uint8_t>(number())); // what both formats can carry
    m.setErrorCode(static_cast<std::uint16_t>(number()));
    m.setSourceId(static_cast<std::uint8_t>(number()));
    m.setSequenceNumber(static_cast<std::uint8_t>(number()));
    const std::function<void(std::uint32_t)> setters[] = {
        [&](auto key) { m.setUInt8(key, static_cast<std::uint8_t>(number())); },
        [&](auto key) { m.setInt8(key, std::numeric_limits<std::int8_t>::min()); },
        [&](auto key) { m.setUInt16(key, static_cast<std::uint16_t>(number())); },
        [&](auto key) { m.setInt32(key, static_cast<std::int32_t>(number())); },
        [&](auto key) { m.setInt64(key, std::numeric_limits<std::int64_t>::min()); },
        [&](auto key) { m.setUInt64(key, number()); },
        [&](auto key) { m.setBool(key, number() % 2 == 0); },
        [&](auto key) { m.setString(key, std::string(number() % 300, 'a')); },
        [&](auto key) { m.setXml(key, "<x/>"); },
        [&](auto key) { m.setData(key, Bytes(200, 7).data(), static_cast<std::uint32_t>(number() % 200)); },
        [&](auto key)
        {
            const std::int16_t values[] = {-1, std::numeric_limits<std::int16_t>::min(), 0x1234};
            m.setArrayInt16(key, values, static_cast<std::uint32_t>(number() % 4));
        },
        [&](auto key)
        {
            const bool values[] = {true, false, true};
            m.setArrayBool(key, values, 3);
        },
    };
    for (std::uint64_t left = number() % 30; left > 0; --left)
        setters[number() % std::size(setters)](
            static_cast<std::uint32_t>(number() % 2 == 0 ? number() % 20 : number()));
    return m;
}
} // namespace

TEST(CepMessage, RandomMessagesComeBackAsTheyWere)
{
    std::mt19937 random(20260101);
    for (int round = 0; round < 2000; ++round)
    {
        const CCepMessage message = MakeRandom(random);
        for (const EVERSION format : {eVersion1, eVersion2})
        {
            const Bytes bytes = Encode(message, format, true);
            CCepMessage decoded;
            ASSERT_TRUE(Decode(decoded, bytes, true));
            ASSERT_EQ(Encode(decoded, format), bytes) << "the CRC as received included";
            ASSERT_EQ(decoded.getMessageKeys(), message.getMessageKeys());
            for (const std::uint32_t key : message.getMessageKeys())
            {
                Bytes sent, received;
                ASSERT_TRUE(message.getData(key, sent) && decoded.getData(key, received));
                ASSERT_EQ(received, sent);
                ASSERT_EQ(decoded.getType(key),
                          format == eVersion1 ? std::uint8_t{eTypeUnknown} : message.getType(key));
            }
        }
    }
}

TEST(CepMessage, ArraysKeepTheirElements)
{
    const auto check = [](auto set, auto get, auto values)
    {
        CCepMessage message;
        EXPECT_TRUE((message.*set)(1, values.data(), static_cast<std::uint32_t>(values.size())));
        decltype(values) read;
        EXPECT_TRUE((message.*get)(1, read));
        EXPECT_EQ(read, values);
        return message.getType(1);
    };
    using M = CCepMessage;
    EXPECT_EQ(check(&M::setArrayInt8, &M::getArrayInt8, std::vector<std::int8_t>{-128, 127}), 32);
    EXPECT_EQ(check(&M::setArrayInt16, &M::getArrayInt16, std::vector<std::int16_t>{-32768, -2}), 34);
    EXPECT_EQ(check(&M::setArrayInt32, &M::getArrayInt32, std::vector<std::int32_t>{-1, 0x12345678}), 36);
    EXPECT_EQ(check(&M::setArrayInt64, &M::getArrayInt64, std::vector<std::int64_t>{-1, INT64_MIN}), 38);
}
