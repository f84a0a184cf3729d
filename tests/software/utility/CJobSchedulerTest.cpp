// Time is a clock moved by hand, except where threads are the matter.
#include "software/utility/CJobScheduler.h"

#include "software/utility/CException.h"
#include "tests/support/CAllocationCount.h"
#include "tests/support/CManualClock.h"
#include "tests/support/CRecordingLog.h"
#include "tests/support/MessageOf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <poll.h>

namespace
{
constexpr std::uint32_t kFrequency = 100000000; // that of the fine clock
constexpr std::uint32_t kCountsPerUs = kFrequency / 1000000;
constexpr char kInterrupted[] = "Regular processing interrupted due to important job injection";

class JobScheduler : public testing::Test
{
protected:
    /// A job that writes its name down, after taking some time.
    CJobScheduler::Function Writer(const std::string& name, std::uint32_t us = 0)
    {
        return [this, name, us]
        {
            mRuns += name;
            AdvanceUs(us);
        };
    }
    void AdvanceUs(std::uint32_t us) { mClock.Advance(us * kCountsPerUs); }

    /// What one pass ran.
    std::string Run()
    {
        mRuns.clear();
        mScheduler.Run();
        return mRuns;
    }
    bool IsAwake() const
    {
        pollfd descriptor{mScheduler.GetWakeDescriptor(), POLLIN, 0};
        return ::poll(&descriptor, 1, 0) == 1;
    }
    void ExpectStatistics(std::size_t index, std::vector<std::uint32_t> expected) const
    {
        const SJobStatistics s = mScheduler.GetJobStatistics(index);
        EXPECT_EQ(
            (std::vector<std::uint32_t>{s.mRecords, s.mPeriod, s.mMinLateness, s.mMaxLateness,
                                        s.mMeanLateness, s.mMinDuration, s.mMaxDuration, s.mMeanDuration}),
            expected);
    }

    CManualClock mClock{kFrequency, 0xFFFFFF00}; // about to wrap
    CRecordingLog mLog;
    CJobScheduler mScheduler{mClock, mLog};
    std::string mRuns;
};
} // namespace

TEST_F(JobScheduler, RunsWhatIsDueInTheOrderOfRegistration)
{
    mScheduler.RegisterJob("slow", Writer("S"), 20);
    mScheduler.RegisterJob("always", Writer("A"), 0);
    mScheduler.RegisterJob("quick", Writer("Q"), 10);
    mScheduler.RegisterJob("inert", {}, 10);
    EXPECT_EQ(mScheduler.GetNumJobs(), 4u);

    const std::pair<std::uint32_t, const char*> steps[] = {
        {0, "A"}, {9999, "A"}, {1, "AQ"}, {9999, "A"}, {1, "SAQ"}, {40000, "SAQ"}, {0, "A"},
    };
    for (const auto& [us, runs] : steps)
    {
        AdvanceUs(us);
        EXPECT_EQ(Run(), runs) << us;
    }
    ExpectStatistics(3, {0, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_TRUE(mLog.GetLines().empty());
}

TEST_F(JobScheduler, ThePeriodIsMeasuredFromEndToStart)
{
    mScheduler.RegisterJob("first", Writer("1", 700), 1);
    mScheduler.RegisterJob("second", Writer("2"), 2);
    AdvanceUs(1500);
    EXPECT_EQ(Run(), "12"); // the second became due while the first ran
    AdvanceUs(999);
    EXPECT_EQ(Run(), "");
    AdvanceUs(4);
    EXPECT_EQ(Run(), "1");
    EXPECT_EQ(mScheduler.FindJob(0).mLastLateness, 3u);
    EXPECT_EQ(mScheduler.FindJob(0).mLastDuration, 700u);
    ExpectStatistics(0, {2, 1000, 3, 500, 251, 700, 700, 700});
    ExpectStatistics(1, {1, 2000, 200, 200, 200, 0, 0, 0});
}

TEST_F(JobScheduler, KeepsFiftyRecordsAndOverwritesTheOldest)
{
    mScheduler.RegisterJob("job", Writer("J"), 1);
    for (std::uint32_t run = 0; run < 51; ++run)
    {
        AdvanceUs(1000 + run);
        Run();
    }
    EXPECT_EQ(mScheduler.GetStatBufSize(0), 50u);
    EXPECT_EQ(mScheduler.GetJobRecord(0, 0).mLateness, 1u); // the second run
    EXPECT_EQ(mScheduler.GetJobRecord(0, 49).mLateness, 50u);
    EXPECT_EQ(MessageOf([&] { mScheduler.GetJobRecord(0, 50); }), "circular_buffer");
    EXPECT_THROW(mScheduler.GetJobName(1), std::out_of_range);
    ExpectStatistics(0, {50, 1000, 1, 50, 25, 0, 0, 0}); // 1275 / 50 is cut
}

TEST_F(JobScheduler, AnImportantJobGoesAheadOfAllOthers)
{
    mScheduler.RegisterJob(
        "injects",
        [&]
        {
            mRuns += "I";
            mScheduler.RunOneImportantJob("urgent", Writer("U"));
        },
        1);
    mScheduler.RegisterJob("other", Writer("O"), 1);
    EXPECT_EQ(mScheduler.GetTimeToNextJobUs(), 1000u);
    AdvanceUs(1000);
    EXPECT_EQ(Run(), "I"); // it ends the pass after itself
    EXPECT_TRUE(mLog.Has(ELogLevel::Debug, kInterrupted));
    EXPECT_TRUE(IsAwake());
    EXPECT_EQ(mScheduler.GetTimeToNextJobUs(), 0u);
    EXPECT_EQ(MessageOf([&] { mScheduler.RunOneImportantJob("third", Writer("3")); }),
              "Job Scheduler already has an important job: urgent");
    mLog.Clear();
    EXPECT_EQ(Run(), "UO");
    EXPECT_FALSE(IsAwake());
    ASSERT_EQ(mLog.GetLines().size(), 2u);
    EXPECT_TRUE(mLog.Has(ELogLevel::Debug, "Running important job"));
    EXPECT_TRUE(mLog.Has(ELogLevel::Debug, "Important job done"));
}

TEST_F(JobScheduler, WhatAJobThrowsIsLoggedAndItsScheduleStays)
{
    mScheduler.RegisterJob(
        "fails",
        [&]
        {
            mRuns += "F";
            AdvanceUs(5);
            throw std::runtime_error("no answer from the sensor");
        },
        1);
    mScheduler.RegisterJob(
        "foreign", [] { throw 1; }, 10);
    AdvanceUs(1000);
    EXPECT_EQ(Run(), "F");
    EXPECT_EQ(Run(), "");
    EXPECT_TRUE(mLog.Has(ELogLevel::Normal, "Uncaught no answer from the sensor"));
    ExpectStatistics(0, {1, 1000, 0, 0, 0, 5, 5, 5});

    // While an important job runs its place is taken.
    mScheduler.RunOneImportantJob("self", [&] { mScheduler.RunOneImportantJob("again", Writer("A")); });
    Run();
    const std::string refusal = "Job Scheduler already has an important job: self";
    const auto& lines = mLog.GetLines();
    EXPECT_TRUE(std::any_of(lines.begin(), lines.end(),
                            [&](const auto& line) {
                                return line.mText.rfind("Uncaught ", 0) == 0 &&
                                       line.mText.find(refusal) != std::string::npos;
                            }));
    EXPECT_EQ(lines.back().mText, "Important job done");

    AdvanceUs(10000);
    EXPECT_THROW(Run(), int);
    mScheduler.RunOneImportantJob("foreign", [] { throw 2; });
    EXPECT_THROW(Run(), int);
    EXPECT_FALSE(IsAwake()); // it does not come back
}

TEST_F(JobScheduler, RemovesTheFirstJobOfAName)
{
    const auto unregister = [&](const char* name)
    {
        mScheduler.UnregisterJob(name);
        return Run();
    };
    for (const char* name : {"a", "b", "b", "c"})
        mScheduler.RegisterJob(name, Writer(name), 0);
    EXPECT_EQ(unregister("unknown"), "abbc");
    EXPECT_EQ(unregister("b"), "abc");
    EXPECT_EQ(unregister("a"), "bc");
    EXPECT_EQ(mScheduler.GetJobName(0), "b"); // later ones move down
    EXPECT_EQ(unregister(""), "bc");

    mScheduler.UnregisterJob("b");
    EXPECT_EQ(MessageOf([&] { mScheduler.UnregisterJob("c"); }),
              "Job Scheduler already has an important job: RemoveJob");
    EXPECT_EQ(Run(), "b"); // the name was kept before the refusal
}

TEST_F(JobScheduler, AJobThatIsBeingDestroyedCannotBeFound)
{
    std::string message;
    std::shared_ptr<void> held(nullptr,
                               [&](void*) { message = MessageOf([&] { mScheduler.GetJobName(0); }); });
    const std::weak_ptr<void> watch = held;
    mScheduler.RegisterJob(
        "owner", [held] {}, 1);
    held.reset();
    mScheduler.UnregisterJob("owner");
    mScheduler.Run();
    EXPECT_TRUE(watch.expired());
    EXPECT_EQ(message, "Invalid job 0");
}

TEST_F(JobScheduler, PeriodsThatTheClockCannotMeasureAreRefused)
{
    constexpr char kText[] = "Timer resolution exceeded";
    EXPECT_EQ(MessageOf([&] { mScheduler.RegisterJob("long", Writer("L"), 42001); }), kText);
    EXPECT_EQ(mScheduler.GetNumJobs(), 0u);
    EXPECT_EQ(mScheduler.GetTimeToNextJobUs(), std::nullopt);
    mScheduler.RegisterJob("long", Writer("L"), 42000);
    EXPECT_EQ(MessageOf([&] { mScheduler.ChangeJobPeriod(0, 42001); }), kText);
    AdvanceUs(1000000);
    EXPECT_EQ(mScheduler.GetTimeToNextJobUs(), 41000000u);
    mScheduler.ChangeJobPeriod(0, 1000); // not begun anew: it is due
    EXPECT_EQ(mScheduler.GetTimeToNextJobUs(), 0u);
    EXPECT_EQ(Run(), "L");

    CManualClock slow(100);
    CJobScheduler scheduler(slow, mLog);
    EXPECT_EQ(MessageOf([&] { scheduler.RegisterJob("long", Writer("L"), 4294968); }), kText);
    scheduler.RegisterJob("tick", Writer("T"), 15);
    mRuns.clear();
    for (const char* runs : {"", "", "T"}) // the first tick does not count, and 15 ms take two
    {
        slow.Advance(1);
        scheduler.Run();
        EXPECT_EQ(mRuns, runs);
    }
}

TEST_F(JobScheduler, AJobMayRegisterOthersAndTheyBeginTheirPeriodThen)
{
    mScheduler.RegisterJob(
        "parent",
        [&]
        {
            mRuns += "P";
            if (mScheduler.GetNumJobs() == 1)
                mScheduler.RegisterJob("child", Writer("C"), 2);
        },
        1);
    AdvanceUs(1000);
    EXPECT_EQ(Run(), "P");
    AdvanceUs(1999);
    EXPECT_EQ(Run(), "P");
    AdvanceUs(1);
    EXPECT_EQ(Run(), "C");
}

TEST_F(JobScheduler, ARunningSchedulerAllocatesNothing)
{
    for (int i = 0; i < 10; ++i)
        mScheduler.RegisterJob(
            "a name that is too long to stand in the string itself", [] {}, 1);
    const auto pass = [&]
    {
        AdvanceUs(1000);
        mScheduler.Run();
        return mScheduler.GetTimeToNextJobUs();
    };
    pass();
    const CAllocationCount allocations;
    for (int i = 0; i < 100; ++i)
        pass();
    EXPECT_EQ(allocations.Get(), 0u);
}

TEST(JobSchedulerThreads, ImportantJobsOfManyThreadsRunOnceEach)
{
    constexpr int kThreads = 3;
    constexpr int kJobs = 200;
    CManualClock clock(kFrequency);
    CRecordingLog log;
    CJobScheduler scheduler(clock, log);
    int runs = 0; // not atomic: they all run on this thread
    std::atomic<int> busy{0};
    scheduler.RegisterJob(
        "regular", [] {}, 0);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back(
            [&]
            {
                ++busy;
                for (int job = 0; job < kJobs;)
                {
                    try
                    {
                        scheduler.RunOneImportantJob("urgent", [&] { ++runs; });
                        ++job;
                    }
                    catch (const CException&)
                    {
                        std::this_thread::yield();
                    }
                }
                --busy;
            });
    while (runs < kThreads * kJobs)
        scheduler.Run();
    for (std::thread& thread : threads)
        thread.join();
    scheduler.Run();
    EXPECT_EQ(runs, kThreads * kJobs);
    EXPECT_EQ(busy, 0);
}
