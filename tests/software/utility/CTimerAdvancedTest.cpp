#include "software/utility/CTimerAdvanced.h"

#include "software/utility/CException.h"
#include "tests/support/CManualClock.h"

#include <gtest/gtest.h>

namespace
{
class TimerAdvanced : public testing::Test
{
protected:
    CManualClock mClock{1000};
    CTimerAdvanced mTimer{mClock};
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

TEST_F(TimerAdvanced, RefusesQuestionsWhileNotArmed)
{
    const auto refused = [&]
    {
        EXPECT_EQ(GetMessage([&] { mTimer.IsExpired(); }), "timer not armed");
        EXPECT_EQ(GetMessage([&] { mTimer.GetTimeRemainingMs(); }), "timer not armed");
        EXPECT_EQ(GetMessage([&] { mTimer.GetTimeRemainingS(); }), "timer not armed");
    };
    refused();
    mTimer.ArmTimerMs(10);
    EXPECT_FALSE(mTimer.IsExpired());
    mTimer.Clear();
    refused();
    mTimer.ArmTimerMs(10);
    mClock.AdvanceMs(10);
    EXPECT_TRUE(mTimer.IsExpired());
    EXPECT_TRUE(mTimer.IsExpired(true)); // asking alone did not clear it
    refused();
}

TEST_F(TimerAdvanced, AddedTimeCountsUntilItIsArmedAgain)
{
    mTimer.ArmTimerS(2);
    mTimer.AddTimeMs(500);
    mTimer.AddTimeS(1);
    mClock.AdvanceMs(3499);
    EXPECT_FALSE(mTimer.IsExpired(true));
    EXPECT_EQ(mTimer.GetTimeRemainingMs(), 1u);
    EXPECT_EQ(mTimer.GetTimeRemainingS(), 0u);
    mClock.AdvanceMs(1);
    EXPECT_TRUE(mTimer.IsExpired());
    EXPECT_EQ(mTimer.GetTimeRemainingMs(), 0u);

    mTimer.Reschedule();
    EXPECT_EQ(mTimer.GetTimeRemainingMs(), 2000u);
    EXPECT_EQ(mTimer.GetTimeRemainingS(), 2u);
    mTimer.AddTimeS(1);
    mTimer.ArmTimer();
    EXPECT_EQ(mTimer.GetTimeRemainingMs(), 2000u);
}

TEST_F(TimerAdvanced, LongDurationsSaturateAndNeverBecomeShort)
{
    CManualClock slow(100);
    CTimerAdvanced timer(slow);
    timer.ArmTimerS(4294968); // 296 ms beyond 32 bits
    EXPECT_EQ(timer.GetTimeRemainingMs(), 4294967295u);
    timer.AddTimeMs(4294967295u);
    timer.AddTimeMs(1);
    EXPECT_EQ(timer.GetTimeRemainingMs(), 2 * std::uint64_t{4294967295});

    const CManualClock fast(100000000);
    CTimerAdvanced shortOne(fast);
    shortOne.ArmTimerS(43);
    EXPECT_EQ(GetMessage([&] { shortOne.IsExpired(); }), "Timer resolution exceeded");
}
