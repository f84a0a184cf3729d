// Counts what the heap is asked for: lantern_bench replaces operator new.
#pragma once

#include <cstddef>

namespace benchmark
{
class State;
}

namespace NAllocations
{
/// Allocations of all threads since the program began.
std::size_t GetCount() noexcept;

/// Sets the counter "allocations" of a benchmark: those since `before`, per iteration. Called after its loop.
void Report(benchmark::State& state, std::size_t before);
} // namespace NAllocations
