// Slicing by eight: table k holds what a byte has become k bytes later.
#include "software/utility/NCrc16.h"

#include <array>

namespace
{
constexpr std::uint16_t k8005Reflected = 0xA001;
constexpr std::size_t kSlices = 8;
constexpr std::size_t kByteValues = 256;
using Tables = std::array<std::array<std::uint16_t, kByteValues>, kSlices>;

constexpr std::uint16_t DivideByte(std::uint16_t remainder, std::uint16_t polynomial) noexcept
{
    for (int bit = 0; bit < 8; ++bit)
        remainder = static_cast<std::uint16_t>((remainder >> 1) ^ ((remainder & 1) != 0 ? polynomial : 0));
    return remainder;
}

constexpr Tables MakeReflectedTables(std::uint16_t polynomial) noexcept
{
    Tables tables{};
    for (std::size_t value = 0; value < kByteValues; ++value)
    {
        tables[0][value] = DivideByte(static_cast<std::uint16_t>(value), polynomial);
        for (std::size_t k = 1; k < kSlices; ++k)
            tables[k][value] = DivideByte(tables[k - 1][value], polynomial);
    }
    return tables;
}

constexpr Tables k8005 = MakeReflectedTables(k8005Reflected);
static_assert(k8005[0][1] == 0xC0C1 && k8005[0][255] == 0x4040); // as the polynomial's table is published
} // namespace

std::uint16_t NCrc16::Update8005(std::uint16_t crc, const unsigned char* bytes, std::size_t size) noexcept
{
    const Tables& t = k8005;
    unsigned state = crc;
    for (; size >= kSlices; size -= kSlices, bytes += kSlices)
    {
        // The tables of the six bytes that do not touch the old remainder come first: their loads need not
        // wait for it.
        const unsigned rest = static_cast<unsigned>(t[5][bytes[2]] ^ t[4][bytes[3]] ^ t[3][bytes[4]] ^
                                                    t[2][bytes[5]] ^ t[1][bytes[6]] ^ t[0][bytes[7]]);
        state = rest ^ t[7][bytes[0] ^ (state & 0xFF)] ^ t[6][bytes[1] ^ (state >> 8)];
    }
    for (; size > 0; --size, ++bytes)
        state = (state >> 8) ^ t[0][(state ^ *bytes) & 0xFF];
    return static_cast<std::uint16_t>(state);
}
