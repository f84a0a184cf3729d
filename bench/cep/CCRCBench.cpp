// Checksums of 4 KiB, against slicing by eight as it is usually written, and against zlib called directly.
#include "cep/CCRC.h"

#include "bench/support/NAllocations.h"

#include <array>
#include <cstring>
#include <numeric>
#include <vector>
#include <zlib.h>

using LibMarlix::CCRC;

namespace
{
std::vector<unsigned char> MakeBytes()
{
    std::vector<unsigned char> bytes(4096);
    std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(1));
    return bytes;
}

template <typename TCompute>
void Measure(benchmark::State& state, TCompute compute)
{
    const std::vector<unsigned char> bytes = MakeBytes();
    const CAllocationCount before;
    for (auto _ : state)
        benchmark::DoNotOptimize(compute(bytes.data(), bytes.size()));
    NAllocations::Report(state, before);
}

struct SSlicing
{
    SSlicing()
    {
        for (unsigned value = 0; value < 256; ++value)
        {
            unsigned crc = value;
            for (int bit = 0; bit < 8; ++bit)
                crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xA001u : 0);
            mTables[0][value] = static_cast<std::uint16_t>(crc);
        }
        for (unsigned value = 0; value < 256; ++value)
            for (std::size_t k = 1; k < mTables.size(); ++k)
                mTables[k][value] = static_cast<std::uint16_t>((mTables[k - 1][value] >> 8) ^
                                                               mTables[0][mTables[k - 1][value] & 0xFF]);
    }

    std::uint16_t Compute(const unsigned char* bytes, std::size_t size) const
    {
        unsigned crc = 0;
        for (; size >= 8; size -= 8, bytes += 8)
        {
            std::uint64_t word = 0;
            std::memcpy(&word, bytes, sizeof word);
            word ^= crc;
            crc = 0;
            for (std::size_t i = 0; i < 8; ++i)
                crc ^= mTables[7 - i][(word >> (8 * i)) & 0xFF];
        }
        for (; size > 0; --size)
            crc = (crc >> 8) ^ mTables[0][(crc ^ *bytes++) & 0xFF];
        return static_cast<std::uint16_t>(crc);
    }

    std::array<std::array<std::uint16_t, 256>, 8> mTables{};
};

void Crc16(benchmark::State& state)
{
    Measure(state,
            [](const unsigned char* bytes, std::size_t size) { return CCRC::calcCRC16(0, bytes, size); });
}
BENCHMARK(Crc16);

void Crc16Limit(benchmark::State& state)
{
    static const SSlicing kSlicing;
    const std::vector<unsigned char> bytes = MakeBytes();
    if (kSlicing.Compute(bytes.data(), bytes.size()) != CCRC::calcCRC16(0, bytes.data(), bytes.size()))
        state.SkipWithError("The two do not agree");
    Measure(state, [](const unsigned char* b, std::size_t size) { return kSlicing.Compute(b, size); });
}
BENCHMARK(Crc16Limit);

void Crc32(benchmark::State& state)
{
    Measure(state, [](const unsigned char* bytes, std::size_t size)
            { return CCRC::calcCRC32(0xFFFFFFFF, bytes, size); });
}
BENCHMARK(Crc32);

void Crc32Limit(benchmark::State& state)
{
    Measure(state, [](const unsigned char* bytes, std::size_t size)
            { return crc32(0, bytes, static_cast<uInt>(size)); });
}
BENCHMARK(Crc32Limit);
} // namespace
