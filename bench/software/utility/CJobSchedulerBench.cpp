// A pass of the scheduler that finds nothing due, and one that runs an empty job, against what neither can do
// without.
#include "software/utility/CJobScheduler.h"

#include "bench/support/NAllocations.h"
#include "software/utility/CMonotonicClockHighResPosix.h"
#include "software/utility/CSilentLog.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <string>

#include <boost/circular_buffer.hpp>
#include <boost/thread/mutex.hpp>
#include <sys/times.h>

namespace
{
constexpr int kJobs = 100;
constexpr std::uint32_t kLongPeriodMs = 40000;
constexpr char kName[] = "a job with a name that is not short";

void SchedulerPass(benchmark::State& state)
{
    const CMonotonicClockHighResPosix clock;
    CSilentLog log;
    CJobScheduler scheduler(clock, log);
    for (int i = 0; i < kJobs; ++i)
        scheduler.RegisterJob(
            kName, [&] { state.SkipWithError("A job was due"); }, kLongPeriodMs);
    const CAllocationCount allocations;
    for (auto _ : state)
        scheduler.Run();
    NAllocations::Report(state, allocations);
}
BENCHMARK(SchedulerPass);

// The jobs lie where the compiler cannot know them, and it may not do many at once: one finds one that is due
// by itself.
void SchedulerPassLimit(benchmark::State& state)
{
    const CMonotonicClockHighResPosix clock;
    const IMonotonicClock* anyClock = &clock;
    benchmark::DoNotOptimize(anyClock);
    struct SDue
    {
        std::uint32_t mStart;
        std::uint32_t mPeriod;
    };
    std::array<SDue, kJobs> jobs{};
    jobs.fill({clock.GetCounts(), 4000000000});
    const CAllocationCount allocations;
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(jobs.data());
        benchmark::ClobberMemory();
        const std::uint32_t now = anyClock->GetCounts();
        for (const SDue& job : jobs)
            if (now - job.mStart >= job.mPeriod)
                state.SkipWithError("A job was due");
    }
    NAllocations::Report(state, allocations);
}
BENCHMARK(SchedulerPassLimit);

void DispatchJob(benchmark::State& state)
{
    const CMonotonicClockHighResPosix clock;
    CSilentLog log;
    CJobScheduler scheduler(clock, log);
    int runs = 0;
    scheduler.RegisterJob(
        kName, [&] { ++runs; }, 0);
    scheduler.Run();
    const CAllocationCount allocations;
    for (auto _ : state)
        scheduler.Run();
    NAllocations::Report(state, allocations);
    if (runs == 0)
        state.SkipWithError("The job did not run");
}
BENCHMARK(DispatchJob);

void DispatchJobLimit(benchmark::State& state)
{
    const CMonotonicClockHighResPosix clock;
    const IMonotonicClock* anyClock = &clock;
    benchmark::DoNotOptimize(anyClock);
    boost::mutex mutex;
    const std::string name = kName;
    std::string copy = kName;
    clock_t second = 0;
    boost::circular_buffer<CJobScheduler::SJobData> ring(CJobScheduler::kStatisticsCapacity);
    const CAllocationCount allocations;
    for (auto _ : state)
    {
        const std::uint32_t start = anyClock->GetCounts();
        {
            const boost::mutex::scoped_lock lock(mutex);
            copy = name;
            tms unused;
            second = ::times(&unused);
        }
        benchmark::DoNotOptimize(copy.data());
        benchmark::DoNotOptimize(second);
        const std::uint32_t end = anyClock->GetCounts();
        ring.push_back({start, end - start});
        benchmark::DoNotOptimize(ring.back());
    }
    NAllocations::Report(state, allocations);
}
BENCHMARK(DispatchJobLimit);
} // namespace
