// One table, made by the compiler.
#include "software/utility/NCrc.h"

#include <array>

namespace
{
constexpr unsigned kPolynomial = 0x1021;
constexpr std::size_t kByteValues = 256;

constexpr std::array<std::uint16_t, kByteValues> MakeTable() noexcept
{
    std::array<std::uint16_t, kByteValues> table{};
    for (std::size_t value = 0; value < kByteValues; ++value)
    {
        unsigned remainder = static_cast<unsigned>(value) << 8;
        for (int bit = 0; bit < 8; ++bit)
            remainder = (remainder << 1) ^ ((remainder & 0x8000) != 0 ? kPolynomial : 0);
        table[value] = static_cast<std::uint16_t>(remainder);
    }
    return table;
}

constexpr std::array<std::uint16_t, kByteValues> kTable = MakeTable();
static_assert(kTable[1] == 0x1021 && kTable[255] == 0x1EF0); // as the polynomial's table is published
} // namespace

std::uint16_t NCrc::GetCrc16(const unsigned char* bytes, std::size_t size) noexcept
{
    unsigned crc = 0;
    for (std::size_t i = 0; i < size; ++i)
        crc = ((crc << 8) ^ kTable[crc >> 8] ^ bytes[i]) & 0xFFFF;
    return static_cast<std::uint16_t>(crc);
}
