// Both programs together.
#include "tests/apps/lanternctl/CCtlProcess.h"
#include "tests/support/CDaemonProcess.h"
#include "tests/support/CTemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{
using testing::HasSubstr;

class LanternCtlDaemon : public testing::Test
{
protected:
    std::vector<std::string> Here(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), {"--port", std::to_string(mDaemon.GetPort())});
        return arguments;
    }

    std::string Run(const std::vector<std::string>& arguments, int exitCode = 0) const
    {
        SCOPED_TRACE(testing::PrintToString(arguments));
        CCtlProcess process(Here(arguments));
        EXPECT_EQ(process.Wait(), exitCode);
        return process.GetOutput() + process.GetErrors();
    }

    CTemporaryFolder mFolder;
    CDaemonProcess mDaemon{mFolder.File("state")};
};
} // namespace

TEST_F(LanternCtlDaemon, DrivesTheSimulatedProjector)
{
    EXPECT_EQ(Run({"set", "LUM", "73.5"}), "73.5\n");
    EXPECT_EQ(Run({"set", "SRC", "HDMI 2"}), "HDMI 2\n");
    EXPECT_EQ(Run({"set", "BRI", "-20"}), "-20\n");
    EXPECT_EQ(Run({"set", "kst+tlpx", "12"}), "12\n");
    EXPECT_EQ(Run({"get", "LUM", "SRC", "BRI", "KST+TLPX"}),
              "LUM       73.5 %\nSRC       HDMI 2\nBRI       -20\nKST+TLPX  12 pixel\n");
    EXPECT_EQ(Run({"set", "SRC", "SDI"}, 1), "lanternctl: SRC: Disabled Control (105)\n");
    EXPECT_EQ(Run({"get", "GPW"}, 1), "lanternctl: GPW: Invalid Access Group (117)\n");
    EXPECT_EQ(Run({"set", "DAT", "2026-02-30"}, 1), "lanternctl: DAT: Failed to set Hardware (112)\n");
    EXPECT_THAT(Run({"get", "TP1", "FN1"}), testing::ContainsRegex("TP1  [0-9.]+ °C\nFN1  [0-9]+ rpm\n"));
    EXPECT_THAT(Run({"jobs"}), testing::ContainsRegex("JOB +PERIOD +RUNS +LATE mean +max +TOOK mean +max\n"
                                                      "simulator +20 ms +[0-9]+ +[0-9.]+ ms"));
    EXPECT_THAT(Run({"--json", "jobs"}), HasSubstr("\"name\":\"thermal\",\"periodUs\":1000000,"));
    EXPECT_EQ(Run({"set", "RST"}), "");
    EXPECT_EQ(Run({"get", "LUM"}), "100.0\n");
}

TEST_F(LanternCtlDaemon, OneWatchesWhileAnotherSets)
{
    CCtlProcess watch(Here({"watch", "LUM", "NME"}));
    ASSERT_TRUE(watch.WaitForOutput("NME \n"));
    Run({"set", "NME", "Bühne links"});
    EXPECT_TRUE(watch.WaitForOutput("NME Bühne links\n"));
    mDaemon.Stop();
    EXPECT_EQ(watch.Wait(), 3);
    EXPECT_THAT(watch.GetErrors(), HasSubstr(" lost\n"));
}
