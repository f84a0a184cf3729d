// The interval timer in the arithmetic of a 32-bit count.
#include "software/utility/CTimer.h"

#include "software/utility/CException.h"
#include "tests/support/CManualClock.h"

#include <gtest/gtest.h>

namespace
{
TEST(CTimer, MeasuresInEveryUnitAcrossAWrapOfTheClock)
{
    CManualClock clock(100000000, 0xFFFFFFF0); // 10 ns
    CTimer timer(clock);
    clock.Advance(250000000);
    EXPECT_EQ(timer.GetElapsedS(), 2u);
    EXPECT_EQ(timer.GetElapsedMs(), 2500u);
    EXPECT_EQ(timer.GetElapsedUs(), 2500000u);
    EXPECT_TRUE(timer.HasTimerExpiredMs(2500));
    EXPECT_FALSE(timer.HasTimerExpiredMs(2501));
    EXPECT_EQ(timer.GetTimeRemainingMs(3000), 500u);
    EXPECT_EQ(timer.GetTimeRemainingMs(2500), 0u);
    timer.ArmTimer();
    EXPECT_EQ(timer.GetElapsedUs(), 0u);
    EXPECT_EQ(timer.GetTimeRemainingS(3), 3u);
}

TEST(CTimer, ASlowClockDoesNotCountItsFirstTick)
{
    CManualClock clock(100);
    const CTimer timer(clock);
    EXPECT_EQ(timer.GetElapsedMs(), 0u);
    clock.Advance(1);
    EXPECT_EQ(timer.GetElapsedMs(), 0u);
    clock.Advance(4);
    EXPECT_EQ(timer.GetElapsedMs(), 40u);
    EXPECT_EQ(timer.GetElapsedUs(), 40000u);
    EXPECT_EQ(timer.GetElapsedS(), 0u);
}

TEST(CTimer, RefusesALimitThatTheCountCannotHold)
{
    CManualClock clock(100000000); // wraps after 42 s
    const CTimer timer(clock);
    EXPECT_FALSE(timer.HasTimerExpiredS(42));
    EXPECT_FALSE(timer.HasTimerExpiredMs(42000));
    EXPECT_FALSE(timer.HasTimerExpiredUs(42000000));
    EXPECT_THROW(timer.HasTimerExpiredS(43), CException);
    EXPECT_THROW(timer.HasTimerExpiredMs(42001), CException);
    EXPECT_THROW(timer.GetTimeRemainingUs(42000001), CException);
}
} // namespace
