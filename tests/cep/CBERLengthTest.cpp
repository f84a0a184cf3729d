// Lengths at every border of the form, and what is no length.
#include "cep/CBERLength.h"

#include <array>
#include <gtest/gtest.h>
#include <utility>
#include <vector>

using LibMarlix::CBERLength;

TEST(BerLength, EncodesInTheShortestFormAndReadsItBack)
{
    const std::pair<std::uint32_t, std::vector<unsigned char>> cases[] = {
        {0, {0x00}},
        {127, {0x7F}},
        {128, {0x81, 0x80}},
        {255, {0x81, 0xFF}},
        {256, {0x82, 0x01, 0x00}},
        {0xFFFF, {0x82, 0xFF, 0xFF}},
        {0x10000, {0x83, 0x01, 0x00, 0x00}},
        {0xFFFFFF, {0x83, 0xFF, 0xFF, 0xFF}},
    };
    for (const auto& [length, bytes] : cases)
    {
        SCOPED_TRACE(length);
        std::array<unsigned char, CBERLength::kMaxBytes> written{};
        EXPECT_EQ(CBERLength::berBytesLength(length), bytes.size());
        ASSERT_EQ(CBERLength::encodeLengthToBer(length, written.data()), bytes.size());
        EXPECT_EQ(std::vector<unsigned char>(written.begin(), written.begin() + bytes.size()), bytes);
        std::uint32_t value = 0xBAD;
        EXPECT_EQ(CBERLength::decodeLengthFromBer(bytes.data(), bytes.size(), value), bytes.size());
        EXPECT_EQ(value, length);
    }
    std::array<unsigned char, CBERLength::kMaxBytes> untouched{1, 2, 3, 4};
    EXPECT_EQ(CBERLength::encodeLengthToBer(0x1000000, untouched.data()), 0u);
    EXPECT_EQ(CBERLength::berBytesLength(0x1000000), 0u);
    EXPECT_EQ(untouched, (std::array<unsigned char, CBERLength::kMaxBytes>{1, 2, 3, 4}));
    EXPECT_EQ(CBERLength::encodeLengthToBer(5, nullptr), 0u);
}

TEST(BerLength, RefusedInputConsumesNothingAndYieldsZero)
{
    const std::pair<const char*, std::vector<unsigned char>> cases[] = {
        {"empty", {}},
        {"indefinite form", {0x80}},
        {"last byte missing", {0x82, 0x01}},
        {"all bytes missing", {0x83}},
        {"four-byte form", {0x84, 0x00, 0x00, 0x01, 0x00}},
        {"largest first byte", {0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
    };
    for (const auto& [name, bytes] : cases)
    {
        SCOPED_TRACE(name);
        std::uint32_t value = 0xBAD; // would show that the result was never written
        EXPECT_EQ(CBERLength::decodeLengthFromBer(bytes.data(), bytes.size(), value), 0u);
        EXPECT_EQ(value, 0u);
    }
    std::uint32_t value = 0xBAD;
    EXPECT_EQ(CBERLength::decodeLengthFromBer(nullptr, 4, value), 0u);
    EXPECT_EQ(value, 0u);
}
