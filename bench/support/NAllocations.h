// Tells with a benchmark's time what it took from the heap.
#pragma once

#include "tests/support/CAllocationCount.h"

#include <benchmark/benchmark.h>

namespace NAllocations
{
/// Sets the counter "allocations": those since `count` was made, per iteration. Called after the loop.
inline void Report(benchmark::State& state, const CAllocationCount& count)
{
    state.counters["allocations"] =
        benchmark::Counter(static_cast<double>(count.Get()), benchmark::Counter::kAvgIterations);
}
} // namespace NAllocations
