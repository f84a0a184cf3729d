// How punctual 100 jobs of mixed periods are: in the daemon's loop, or driven by a heap and clock_nanosleep.
//
//   bench_job_lateness ours|limit SECONDS
//
// Prints {"p50_us": ..., "share": ...}: the median lateness, and the runs as a share of the ideal number.
#include "apps/lanternd/CJobTimer.h"
#include "apps/lanternd/NProcess.h"
#include "software/bp/c4j/CJsonRpcServer.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/utility/CJobScheduler.h"
#include "software/utility/CMonotonicClockHighResPosix.h"
#include "software/utility/CSilentLog.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <queue>
#include <string_view>
#include <vector>

namespace
{
constexpr int kJobs = 100;
constexpr std::int64_t kNsPerUs = 1000;
constexpr std::int64_t kNsPerMs = 1000000;
constexpr std::int64_t kNsPerS = 1000000000;

std::int64_t Now()
{
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * kNsPerS + now.tv_nsec;
}

std::int64_t PeriodMs(int job)
{
    return 10 + job % 11;
}

/// Both sides report to this in the same way: how long after the end of the run before, less the period.
class CRecord
{
public:
    explicit CRecord(double seconds)
        : mStart(Now())
        , mEnd(mStart + static_cast<std::int64_t>(seconds * kNsPerS))
        , mLast(kJobs, mStart)
    {
        mLateness.reserve(1 << 20);
    }
    void Run(int job)
    {
        const std::int64_t now = Now();
        const auto index = static_cast<std::size_t>(job);
        mLateness.push_back(now - mLast[index] - PeriodMs(job) * kNsPerMs);
        mLast[index] = now;
    }
    std::int64_t GetLast(int job) const { return mLast[static_cast<std::size_t>(job)]; }
    bool IsOver() const { return Now() >= mEnd; }

    void Print()
    {
        double ideal = 0.0;
        for (int job = 0; job < kJobs; ++job)
            ideal += static_cast<double>((mEnd - mStart) / (PeriodMs(job) * kNsPerMs));
        std::sort(mLateness.begin(), mLateness.end());
        const std::int64_t median = mLateness.empty() ? mEnd - mStart : mLateness[mLateness.size() / 2];
        std::cout << "{\"p50_us\": " << static_cast<double>(median) / kNsPerUs
                  << ", \"share\": " << static_cast<double>(mLateness.size()) / ideal << "}\n";
    }

private:
    const std::int64_t mStart;
    const std::int64_t mEnd;
    std::vector<std::int64_t> mLast;
    std::vector<std::int64_t> mLateness; // ns
};

void RunOurs(CRecord& record)
{
    const CMonotonicClockHighResPosix clock;
    CSilentLog log;
    CEventDispatcher dispatcher(log);
    CJobScheduler scheduler(clock, log);
    CJobTimer timer(scheduler);
    CJsonRpcServer server(dispatcher, "127.0.0.1", 0, clock, log);
    server.AddWakeDescriptor(timer.GetDescriptor());
    for (int job = 0; job < kJobs; ++job)
        scheduler.RegisterJob(
            "job", [&record, job] { record.Run(job); }, static_cast<std::uint32_t>(PeriodMs(job)));
    timer.Arm();
    while (!record.IsOver()) // as CDaemon does
    {
        timer.Run();
        server.ProcessMessages();
    }
}

void RunLimit(CRecord& record)
{
    using Due = std::pair<std::int64_t, int>; // when, which
    std::priority_queue<Due, std::vector<Due>, std::greater<>> heap;
    for (int job = 0; job < kJobs; ++job)
        heap.emplace(record.GetLast(job) + PeriodMs(job) * kNsPerMs, job);
    while (!record.IsOver())
    {
        const auto [when, job] = heap.top();
        heap.pop();
        const timespec until{static_cast<time_t>(when / kNsPerS), static_cast<long>(when % kNsPerS)};
        while (::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR)
            continue;
        record.Run(job);
        heap.emplace(record.GetLast(job) + PeriodMs(job) * kNsPerMs, job);
    }
}
} // namespace

int main(int argc, char** argv)
{
    const std::string_view side = argc == 3 ? argv[1] : "";
    const double seconds = argc == 3 ? std::atof(argv[2]) : 0.0;
    if ((side != "ours" && side != "limit") || !(seconds > 0.0))
    {
        std::cerr << "usage: bench_job_lateness ours|limit SECONDS\n";
        return 2;
    }
    NProcess::SetFinestTimerSlack();
    CRecord record(seconds);
    side == "ours" ? RunOurs(record) : RunLimit(record);
    record.Print();
    return 0;
}
