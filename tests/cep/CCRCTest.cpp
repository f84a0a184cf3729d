// Published check values, and the fast way against the definition.
#include "cep/CCRC.h"

#include <gtest/gtest.h>
#include <numeric>
#include <vector>

using LibMarlix::CCRC;

namespace
{
const auto* const kCheck = reinterpret_cast<const unsigned char*>("123456789");
constexpr std::size_t kCheckSize = 9;

template <typename TNumber>
TNumber DivideBitwise(TNumber crc, TNumber polynomial, const unsigned char* bytes, std::size_t size)
{
    for (std::size_t i = 0; i < size; ++i)
    {
        crc = static_cast<TNumber>(crc ^ bytes[i]);
        for (int bit = 0; bit < 8; ++bit)
            crc = static_cast<TNumber>((crc >> 1) ^ ((crc & 1) != 0 ? polynomial : 0));
    }
    return crc;
}
} // namespace

TEST(Crc, GivesThePublishedCheckValues)
{
    EXPECT_EQ(CCRC::calcCRC16(0, kCheck, kCheckSize), 0xBB3D);               // CRC-16/ARC
    EXPECT_EQ(CCRC::calcCRC16(0xFFFF, kCheck, kCheckSize), 0x4B37);          // CRC-16/MODBUS
    EXPECT_EQ(CCRC::calcCRC32(0xFFFFFFFF, kCheck, kCheckSize), 0xCBF43926u); // CRC-32/ISO-HDLC
    EXPECT_EQ(CCRC::calcCRC32(0, kCheck, kCheckSize), 0xD202D277u) << "the start is not inverted";
}

TEST(Crc, WithoutDataKeepsTheStart)
{
    EXPECT_EQ(CCRC::calcCRC16(0x1234, nullptr, 0), 0x1234);
    EXPECT_EQ(CCRC::calcCRC32(0x12345678, nullptr, 0), 0xEDCBA987u);
    EXPECT_EQ(CCRC::calcCRC32(0x12345678, kCheck, 0), 0xEDCBA987u);
}

TEST(Crc, OfEveryLengthAndCutIsThatOfTheDefinition)
{
    std::vector<unsigned char> bytes(70);
    std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(0xC3));
    for (std::size_t size = 0; size <= bytes.size(); ++size)
    {
        const auto crc16 = DivideBitwise<std::uint16_t>(0x5A5A, 0xA001, bytes.data(), size);
        EXPECT_EQ(CCRC::calcCRC16(0x5A5A, bytes.data(), size), crc16) << size;
        const std::size_t cut = size / 3;
        const std::uint16_t first = CCRC::calcCRC16(0x5A5A, bytes.data(), cut);
        EXPECT_EQ(CCRC::calcCRC16(first, bytes.data() + cut, size - cut), crc16) << size;
        EXPECT_EQ(CCRC::calcCRC32(0x5A5A5A5A, bytes.data(), size),
                  ~DivideBitwise<std::uint32_t>(0x5A5A5A5A, 0xEDB88320, bytes.data(), size))
            << size;
    }
}
