// Every form of operator new that is not replaced here ends in one of those that are.
#include "bench/support/NAllocations.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace
{
std::atomic<std::size_t> gCount{0};
} // namespace

void* operator new(std::size_t size)
{
    gCount.fetch_add(1, std::memory_order_relaxed);
    if (void* const memory = std::malloc(size == 0 ? 1 : size))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

std::size_t NAllocations::GetCount() noexcept
{
    return gCount.load(std::memory_order_relaxed);
}

void NAllocations::Report(benchmark::State& state, std::size_t before)
{
    const auto count = static_cast<double>(GetCount() - before);
    state.counters["allocations"] = benchmark::Counter(count, benchmark::Counter::kAvgIterations);
}
