// One field of a mapped register, against the same checks and one virtual call around the access.
#include "software/bp/rtl/CPtRegisterBank.h"

#include "bench/support/CMappedWindow.h"
#include "bench/support/NAllocations.h"
#include "software/bp/rtl/CPtBusLocal.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <stdexcept>

namespace
{
constexpr std::uint32_t kSize = CMappedWindow::kSize; // bytes
constexpr std::uint32_t kAddr = 0x24;
constexpr std::uint32_t kShift = 4;
constexpr std::uint32_t kMask = 0xF0;

using Window = std::array<std::uint32_t, kSize / 4>;

struct SBank
{
    SBank() { benchmark::DoNotOptimize(mAddr); }

    Window mWindow{};
    CPtBusLocal mBus{mWindow.data(), kSize, false};
    CPtRegisterBank mBank{mBus, 0, 0, kSize - 4};
    std::uint32_t mAddr = kAddr;
};

void ReadField(benchmark::State& state)
{
    SBank bank;
    const CAllocationCount allocations;
    for (auto _ : state)
        benchmark::DoNotOptimize(bank.mBank.ReadField(bank.mAddr, kShift, kMask));
    NAllocations::Report(state, allocations);
}
BENCHMARK(ReadField);

void WriteField(benchmark::State& state)
{
    SBank bank;
    std::uint32_t value = 0;
    const CAllocationCount allocations;
    for (auto _ : state)
        bank.mBank.WriteField(bank.mAddr, ++value, kShift, kMask);
    NAllocations::Report(state, allocations);
}
BENCHMARK(WriteField);

struct SLimit
{
    SLimit()
    {
        benchmark::DoNotOptimize(mAddr);
        benchmark::DoNotOptimize(mWindow); // from here on any class may stand behind it
    }
    std::uint32_t& ShadowAt(std::uint32_t addr, std::uint32_t shift)
    {
        if (addr % 4 != 0 || addr > kSize - 4 || shift > 31)
            throw std::out_of_range("bank");
        return mShadow[addr / 4];
    }

    CMappedWindow mReal;
    IMappedWindow* mWindow = &mReal;
    Window mShadow{};
    std::uint32_t mAddr = kAddr;
};

void ReadFieldLimit(benchmark::State& state)
{
    SLimit limit;
    for (auto _ : state)
    {
        std::uint32_t& word = limit.ShadowAt(limit.mAddr, kShift);
        limit.mWindow->Request(0, static_cast<std::uint16_t>(limit.mAddr), nullptr, 0, &word, 1, true, 10);
        benchmark::DoNotOptimize((word & kMask) >> kShift);
    }
    NAllocations::Report(state, CAllocationCount());
}
BENCHMARK(ReadFieldLimit);

void WriteFieldLimit(benchmark::State& state)
{
    SLimit limit;
    std::uint32_t value = 0;
    for (auto _ : state)
    {
        std::uint32_t& word = limit.ShadowAt(limit.mAddr, kShift);
        word ^= ((++value << kShift) ^ word) & kMask;
        limit.mWindow->Send(0, static_cast<std::uint16_t>(limit.mAddr), &word, 1, false);
    }
    NAllocations::Report(state, CAllocationCount());
}
BENCHMARK(WriteFieldLimit);
} // namespace
