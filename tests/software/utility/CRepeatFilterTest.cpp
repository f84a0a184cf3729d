#include "software/utility/CRepeatFilter.h"

#include "tests/support/CManualClock.h"

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

namespace
{
class RepeatFilter : public testing::Test
{
protected:
    RepeatFilter() { mFilter.SetLimit(2); }

    /// Logs as the logger does; what comes out is collected.
    void Log(const std::string& text, ELogLevel level = ELogLevel::Normal)
    {
        TakeReports(false);
        if (mFilter.Admit(level, text))
            mLines.push_back(text);
    }

    void TakeReports(bool all)
    {
        CRepeatFilter::SReport report;
        while (mFilter.TakeReport(report, all))
            mLines.push_back(report.mText);
    }

    CManualClock mClock{100, 0xFFFFFF00}; // wraps in the first window
    CRepeatFilter mFilter{mClock};
    std::vector<std::string> mLines;
};

using CLines = std::vector<std::string>;
} // namespace

TEST_F(RepeatFilter, AlternatingLinesAreCountedEach)
{
    for (int i = 0; i < 5; ++i)
    {
        Log("a");
        Log("b");
    }
    Log("c");
    EXPECT_EQ(mLines, (CLines{"a", "b", "a", "b", "c"}));
    mLines.clear();
    mClock.Advance(999);
    Log("a");
    EXPECT_EQ(mLines, CLines()); // the window still runs
    mClock.Advance(1);
    Log("d");
    EXPECT_EQ(mLines, (CLines{"Held back 4 repeats of: a", "Held back 3 repeats of: b", "d"}));
    mLines.clear();
    Log("a"); // a new window
    Log("a");
    Log("a");
    EXPECT_EQ(mLines, (CLines{"a", "a"}));
    TakeReports(true);
    EXPECT_EQ(mLines.back(), "Held back 1 repeats of: a");
}

TEST_F(RepeatFilter, SameTextOfAnotherLevelIsAnotherLine)
{
    for (const ELogLevel level : {ELogLevel::Normal, ELogLevel::Error})
        for (int i = 0; i < 3; ++i)
            Log("a", level);
    EXPECT_EQ(mLines.size(), 4u);
    CRepeatFilter::SReport report;
    ASSERT_TRUE(mFilter.TakeReport(report, true));
    EXPECT_EQ(report.mLevel, ELogLevel::Normal);
    ASSERT_TRUE(mFilter.TakeReport(report, true));
    EXPECT_EQ(report.mLevel, ELogLevel::Error);
    EXPECT_FALSE(mFilter.TakeReport(report, true));
}

TEST_F(RepeatFilter, ManyDifferentLinesEndTheOldestWindowEarly)
{
    for (int i = 0; i < 4; ++i)
        Log("first");
    for (int i = 0; i < 1000; ++i)
        Log(std::to_string(i));
    EXPECT_EQ(std::count(mLines.begin(), mLines.end(), "Held back 2 repeats of: first"), 1);
    EXPECT_EQ(mLines.size(), 2u + 1u + 1000u);
}

TEST_F(RepeatFilter, LimitZeroKeepsEveryLine)
{
    mFilter.SetLimit(0);
    for (int i = 0; i < 50; ++i)
        Log("a");
    TakeReports(true);
    EXPECT_EQ(mLines.size(), 50u);
}
