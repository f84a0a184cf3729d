// The writer against jsoncpp's own.
#include "software/jsonrpc/NJsonText.h"

#include <json/writer.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>

namespace
{
std::string Write(const Json::Value& value)
{
    std::string text = "before";
    NJsonText::Append(value, text);
    EXPECT_EQ(text.substr(0, 6), "before");
    return text.substr(6);
}

std::string WriteByJsoncpp(const Json::Value& value)
{
    Json::FastWriter writer;
    writer.omitEndingLineFeed();
    return writer.write(value);
}

// Values of every kind, from a seed; strings of any bytes, with those preferred that begin characters.
class CValueMaker
{
public:
    explicit CValueMaker(std::uint32_t seed)
        : mRandom(seed)
    {
    }

    Json::Value Make(int depth)
    {
        switch (Below(depth > 0 ? 9 : 7))
        {
        case 0: return Json::Value();
        case 1: return Json::Value(Below(2) == 1);
        case 2: return Json::Value(static_cast<Json::Int64>(Bits()) >> Below(64));
        case 3: return Json::Value(static_cast<Json::UInt64>(Bits()) >> Below(64));
        case 4: return Json::Value(std::ldexp(static_cast<double>(Bits()), Below(200) - 130));
        case 5: return Json::Value(Below(2000) / 10.0);
        case 6: return MakeString();
        case 7: return MakeArray(depth);
        default: return MakeObject(depth);
        }
    }

private:
    int Below(int limit) { return static_cast<int>(mRandom() % static_cast<unsigned>(limit)); }
    std::uint64_t Bits() { return std::uint64_t{mRandom()} << 32 | mRandom(); }

    Json::Value MakeString()
    {
        static const std::string kBytes(
            "a\"\\/\b\f\n\r\t\0\x1F\x7F\x80\xBF\xC2\xE2\x82\xAC\xED\xA0\xF0\x9F\x98\xF4\xF8", 25);
        std::string bytes;
        for (int left = Below(12); left > 0; --left)
            bytes +=
                Below(3) == 0 ? static_cast<char>(Below(256)) : kBytes[static_cast<std::size_t>(Below(25))];
        return Json::Value(bytes);
    }

    Json::Value MakeArray(int depth)
    {
        Json::Value array(Json::arrayValue);
        for (int left = Below(5); left > 0; --left)
            array[array.size() + (Below(8) == 0 ? 2U : 0U)] = Make(depth - 1); // leaves gaps sometimes
        return array;
    }

    Json::Value MakeObject(int depth)
    {
        Json::Value object(Json::objectValue);
        for (int left = Below(5); left > 0; --left)
            object[MakeString().asString()] = Make(depth - 1);
        return object;
    }

    std::mt19937 mRandom;
};

TEST(JsonText, PrintsTheSameBytesAsJsoncpp)
{
    for (std::uint32_t seed = 0; seed < 20000; ++seed)
    {
        const Json::Value value = CValueMaker(seed).Make(3);
        ASSERT_EQ(Write(value), WriteByJsoncpp(value)) << "seed " << seed;
    }
}

TEST(JsonText, EveryPairOfBytesIsPrintedAsByJsoncpp)
{
    for (unsigned first = 0; first < 256; ++first)
    {
        std::string text;
        for (unsigned second = 0; second < 256; ++second)
            text += {static_cast<char>(first), static_cast<char>(second), 'x'};
        ASSERT_EQ(Write(text), WriteByJsoncpp(text)) << "first byte " << first;
    }
}

TEST(JsonText, ExtremeNumbersAreExactAndWhatIsNotFiniteIsNull)
{
    const std::pair<Json::Value, const char*> cases[] = {
        {Json::Value(std::numeric_limits<Json::Int64>::min()), "-9223372036854775808"},
        {Json::Value(std::numeric_limits<Json::UInt64>::max()), "18446744073709551615"},
        {Json::Value(0.1), "0.10000000000000001"},
        {Json::Value(2.0), "2.0"},
        {Json::Value(-0.0), "-0.0"},
        {Json::Value(1e300), "1.0000000000000001e+300"},
        {Json::Value(std::numeric_limits<double>::infinity()), "null"},
        {Json::Value(-std::numeric_limits<double>::infinity()), "null"},
        {Json::Value(std::numeric_limits<double>::quiet_NaN()), "null"},
        {Json::Value(Json::arrayValue), "[]"},
        {Json::Value(Json::objectValue), "{}"},
    };
    for (const auto& [value, text] : cases)
        EXPECT_EQ(Write(value), text);
}
} // namespace
