// A table through a FIFO port, against the same words stored by a plain loop.
#include "software/bp/rtl/CPtMemoryPort.h"

#include "bench/support/NAllocations.h"
#include "software/bp/rtl/CPtBusLocal.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <numeric>
#include <vector>

namespace
{
std::vector<std::uint32_t> MakeTable()
{
    std::vector<std::uint32_t> table(4096); // a gamma table
    std::iota(table.begin(), table.end(), 1u);
    return table;
}

void WritePort(benchmark::State& state)
{
    std::array<std::uint32_t, 256> window{};
    CPtBusLocal bus(window.data(), sizeof window, false);
    CPtMemoryPort port(bus, 0, 0x40);
    const auto table = MakeTable();
    const CAllocationCount allocations;
    for (auto _ : state)
        port.Write(table.data(), static_cast<std::uint32_t>(table.size()), 0);
    NAllocations::Report(state, allocations);
}
BENCHMARK(WritePort);

void WritePortLimit(benchmark::State& state)
{
    std::uint32_t word = 0;
    volatile std::uint32_t* port = &word;
    const auto table = MakeTable();
    for (auto _ : state)
        for (const std::uint32_t value : table)
            *port = value;
    NAllocations::Report(state, CAllocationCount());
}
BENCHMARK(WritePortLimit);
} // namespace
