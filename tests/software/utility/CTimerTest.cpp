#include "software/utility/CTimer.h"

#include "software/utility/CException.h"
#include "tests/support/CManualClock.h"

#include <gtest/gtest.h>

namespace
{
struct SElapsed
{
    const char* mName;
    std::uint32_t mFrequency;
    std::uint32_t mStart;
    std::uint32_t mCounts;
    std::uint32_t mS;
    std::uint64_t mMs;
    std::uint64_t mUs;
};

template <typename TCall>
std::string GetMessage(TCall call)
{
    try
    {
        call();
    }
    catch (const CException& error)
    {
        return error.GetMessage();
    }
    return "nothing was thrown";
}
} // namespace

TEST(Timer, ElapsedTimeInEveryUnit)
{
    const SElapsed cases[] = {
        {"armed just now", 100, 5, 0, 0, 0, 0},
        {"one tick reads as nothing", 100, 5, 1, 0, 0, 0},
        {"two ticks", 100, 5, 2, 0, 10, 10000},
        {"a second of ticks", 100, 5, 100, 1, 990, 990000},
        {"ticks beyond 32 bits of ms", 100, 5, 0xFFFFFFFF, 42949672, 42949672940, 42949672940000},
        {"ticks across the wrap", 100, 0xFFFFFFFE, 4, 0, 30, 30000},
        {"factor is cut to whole units", 300, 0, 301, 1, 900, 999900},
        {"one ms a tick, us lose a tick", 1000, 0, 1500, 1, 1500, 1499000},
        {"ten nanoseconds", 100000000, 7, 99999, 0, 0, 999},
        {"ten nanoseconds, a millisecond", 100000000, 7, 100000, 0, 1, 1000},
        {"ten nanoseconds across the wrap", 100000000, 0xFFFFFF00, 200000000, 2, 2000, 2000000},
    };
    for (const SElapsed& c : cases)
    {
        SCOPED_TRACE(c.mName);
        CManualClock clock(c.mFrequency, c.mStart);
        CTimer timer(clock);
        clock.Advance(c.mCounts);
        EXPECT_EQ(timer.GetElapsedS(), c.mS);
        EXPECT_EQ(timer.GetElapsedMs(), c.mMs);
        EXPECT_EQ(timer.GetElapsedUs(), c.mUs);
        EXPECT_TRUE(timer.HasTimerExpiredS(c.mS));
        if (c.mUs < 42000000) // within the wrap of all these clocks
        {
            EXPECT_TRUE(timer.HasTimerExpiredMs(c.mMs) && timer.HasTimerExpiredUs(c.mUs));
            EXPECT_EQ(timer.GetTimeRemainingMs(c.mMs), 0u);
            EXPECT_FALSE(timer.HasTimerExpiredMs(c.mMs + 1) || timer.HasTimerExpiredUs(c.mUs + 1));
            EXPECT_EQ(timer.GetTimeRemainingUs(c.mUs + 3), 3u);
            EXPECT_EQ(timer.GetTimeRemainingMs(c.mMs + 5), 5u);
            EXPECT_EQ(timer.GetTimeRemainingS(c.mS + 7), 7u);
        }
        timer.ArmTimer();
        EXPECT_EQ(timer.GetElapsedUs(), 0u);
    }
}

TEST(Timer, LimitsBeyondTheWrapAreRefused)
{
    const CManualClock clock(100000000);
    const CTimer timer(clock);
    EXPECT_FALSE(timer.HasTimerExpiredS(42) || timer.HasTimerExpiredMs(42000) ||
                 timer.HasTimerExpiredUs(42000000));
    const std::string text = "Timer resolution exceeded";
    EXPECT_EQ(GetMessage([&] { timer.HasTimerExpiredS(43); }), text);
    EXPECT_EQ(GetMessage([&] { timer.HasTimerExpiredMs(42001); }), text);
    EXPECT_EQ(GetMessage([&] { timer.HasTimerExpiredUs(42000001); }), text);
    EXPECT_EQ(GetMessage([&] { timer.GetTimeRemainingS(43); }), text);
    EXPECT_EQ(GetMessage([&] { timer.GetTimeRemainingMs(42001); }), text);
    EXPECT_EQ(GetMessage([&] { timer.GetTimeRemainingUs(42000001); }), text);
    EXPECT_EQ(GetMessage([] { CTimer(CManualClock(0)); }), "Timer needs a clock that ticks");
}
