// Delays, by a clock that the test gives.
#include "software/bp/security/CTryLimit.h"

#include <gtest/gtest.h>

namespace
{
using std::chrono::seconds;

class CTryLimitTest : public testing::Test
{
protected:
    // Tries as soon as it may, and tells how many seconds that took.
    long Try(const std::string& peer, bool isGood, const std::string& user = "admin")
    {
        const auto due = mLimit.GetNext(peer);
        const auto wait = due > mNow ? due - mNow : CTryLimit::Time::duration(0);
        mNow += wait;
        mLimit.Begin(peer, mNow);
        mLimit.End(peer, user, isGood, mNow);
        return std::chrono::duration_cast<seconds>(wait).count();
    }

    CTryLimit mLimit{STryDelays()};
    CTryLimit::Time mNow{std::chrono::hours(1)};
};

TEST_F(CTryLimitTest, FailuresCostMoreAndMoreUpToABoundAndOnlyTheirPeer)
{
    for (const long delay : {0, 1, 1, 1, 2, 4, 8, 16, 30, 30, 30})
        EXPECT_EQ(Try("10.0.0.1", false), delay);
    EXPECT_EQ(Try("10.0.0.2", false), 0);
    EXPECT_EQ(Try("10.0.0.1", true), 30) << "the right password waits, too";
    EXPECT_EQ(Try("10.0.0.1", true), 30) << "begun before it was known to be right";
    EXPECT_EQ(Try("10.0.0.1", true), 1);
    EXPECT_EQ(Try("10.0.0.1", true), 1);
}

TEST_F(CTryLimitTest, OnesOwnAccountDoesNotClearTheWayToOthers)
{
    for (int i = 0; i < 6; ++i)
        Try("10.0.0.1", false, "admin");
    EXPECT_EQ(Try("10.0.0.1", true, "guest"), 8);
    EXPECT_EQ(Try("10.0.0.1", false, "admin"), 8);
    EXPECT_EQ(Try("10.0.0.1", false, "guest"), 16);
    EXPECT_EQ(Try("10.0.0.1", true, "guest"), 30);
    EXPECT_EQ(Try("10.0.0.1", true, "admin"), 30) << "nor do changing names";
    mNow += seconds(15 * 60 + 1);
    EXPECT_EQ(Try("10.0.0.1", false), 0);
    EXPECT_EQ(Try("10.0.0.1", false), 1) << "forgotten";
}

TEST_F(CTryLimitTest, TheTableIsBoundedAndKeepsTheWorst)
{
    for (int i = 0; i < 8; ++i)
        Try("the worst", false);
    for (std::size_t i = 0; i < 2 * CTryLimit::kMaxPeers; ++i)
        mLimit.Begin("peer " + std::to_string(i), mNow);
    EXPECT_EQ(mLimit.GetSize(), CTryLimit::kMaxPeers);
    EXPECT_EQ(Try("the worst", false), 30);
}
} // namespace
