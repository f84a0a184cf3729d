// The watcher's lines are read back from the file that all loggers of the process write.
#include "software/utility/CJobShedulerSharedData.h"

#include "software/utility/CAtomicFile.h"
#include "tests/support/CManualClock.h"
#include "tests/support/CTemporaryFolder.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
constexpr std::uint32_t kTicksPerS = 100;

class JobWatcher : public testing::Test
{
protected:
    JobWatcher()
    {
        SLogOptions options;
        options.mToConsole = false;
        options.mFile = mFile;
        CLogger::SetDefaults(options);
    }
    ~JobWatcher() override { CLogger::SetDefaults(SLogOptions()); }

    /// What was logged since the last call, without date and time.
    std::string Take()
    {
        std::string content;
        CAtomicFile::Read(mFile, content, 100000);
        const std::string added = content.substr(mSize);
        mSize = content.size();
        const std::size_t name = added.find("JobWatcher");
        return name == std::string::npos ? "" : added.substr(name);
    }

    CTemporaryFolder mFolder;
    const std::string mFile = mFolder.File("log");
    std::size_t mSize = 0;
};
} // namespace

TEST_F(JobWatcher, ReportsAStallOnceAndItsEndOnce)
{
    CManualClock clock(kTicksPerS, 0xFFFFF000);
    CJobShedulerSharedData data(clock);
    data.SetStarted(3, "lens");
    const auto checkAfter = [&](std::uint32_t seconds)
    {
        clock.Advance(seconds * kTicksPerS);
        data.Check();
        return Take();
    };
    EXPECT_EQ(checkAfter(14), "");
    EXPECT_NE(checkAfter(1).find("=====Scheduler stall detected in job: lens[3]. Last updated 15sec ago.\n"),
              std::string::npos);
    EXPECT_EQ(checkAfter(5), "");
    data.SetStarted(1, "fans");
    EXPECT_NE(checkAfter(0).find("=====Scheduler stall recovered, latest running job: fans[1].\n"),
              std::string::npos);
    EXPECT_EQ(checkAfter(14), "");
}

TEST_F(JobWatcher, TheWrapOfItsClockIsNoStall)
{
    CManualClock clock(kTicksPerS);
    CJobShedulerSharedData data(clock);
    constexpr std::uint32_t kDay = 24 * 60 * 60;
    for (int day = 0; day < 600; ++day) // the clock wraps after 497
    {
        clock.Advance(kDay * kTicksPerS - 700);
        data.SetStarted(0, "daily");
        data.Check();
        clock.Advance(700);
        data.Check();
    }
    EXPECT_EQ(Take(), "");
}
