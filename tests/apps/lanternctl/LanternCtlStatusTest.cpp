// Status and alarms of a real daemon, and what the client makes of lists of alarms.
#include "apps/lanternctl/CAlarmHistory.h"
#include "tests/apps/lanternctl/CCtlProcess.h"
#include "tests/support/CDaemonProcess.h"
#include "tests/support/CTemporaryFolder.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/reader.h>
#include <sstream>

namespace
{
using testing::HasSubstr;
using Words = std::vector<std::string>;

std::string MakeDamagedState(const CTemporaryFolder& folder)
{
    std::string state = folder.File("s");
    std::filesystem::create_directory(state);
    std::ofstream(state + "/controls.json") << "{";
    return state;
}

class LanternCtlStatus : public testing::Test
{
protected:
    std::string Run(Words way, const Words& arguments, int exitCode = 0) const
    {
        way.insert(way.end(), arguments.begin(), arguments.end());
        SCOPED_TRACE(testing::PrintToString(way));
        CCtlProcess process(way);
        EXPECT_EQ(process.Wait(), exitCode);
        return process.GetOutput() + process.GetErrors();
    }

    CTemporaryFolder mFolder;
    const std::string mState = MakeDamagedState(mFolder);
    CDaemonProcess mDaemon{mState, {"--serial", "pty"}};
    const Words mTcp{"--port", std::to_string(mDaemon.GetPort())};
    const Words mIpc{"--ipc", mFolder.File("s.run")};
    const Words mSerial{"--serial", mFolder.File("s.run") + "/serial0"};
};

Json::Value Parse(const std::string& text)
{
    Json::Value value;
    std::istringstream(text) >> value;
    return value;
}
} // namespace

TEST_F(LanternCtlStatus, BothWaysShowTheSameWithTheWorstFirst)
{
    const std::string lens = Run(mTcp, {"--json", "status", "lens"}); // fans and heat change meanwhile
    EXPECT_EQ(std::count(lens.begin(), lens.end(), '\n'), 4);
    for (const Words& way : {mTcp, mIpc})
    {
        const std::string system = Run(way, {"status", "system"});
        EXPECT_THAT(system, testing::StartsWith("STATUS   GROUP   ITEM            VALUE\n"
                                                "warning  System  Control values  not readable ("));
        EXPECT_THAT(system, testing::EndsWith("\nOK       System  Accounts        OK\n"));
        const std::string all = Run(way, {"status"});
        EXPECT_LT(all.find("\nwarning "), all.find(" Temperature "));
        EXPECT_THAT(Run(way, {"status", "Lens"}), HasSubstr("OK      Lens   Horizontal shift  0 steps\n"));
        EXPECT_THAT(Run(way, {"alarms"}), HasSubstr("\nwarning  System  Control values  "));
        const std::string json = Run(way, {"--json", "status"});
        EXPECT_EQ(std::count(json.begin(), json.end(), '\n'), 12);
        EXPECT_EQ(Run(way, {"--json", "status", "lens"}), lens);
        EXPECT_EQ(Run(way, {"status", "Lamp"}, 1), "lanternctl: Lamp: Cannot find status group (9)\n");
    }
    EXPECT_EQ(Run(mSerial, {"alarms"}, 2),
              "lanternctl: alarms works over TCP (--host, --port) and the local IPC (--ipc) only, not over a "
              "serial line (--serial)\n");
    EXPECT_EQ(Run(mIpc, {"watch", "--alarms"}, 2),
              "lanternctl: alarms can be watched over TCP (--host, --port) only\n");
    EXPECT_EQ(Run(mTcp, {"watch"}, 2), "lanternctl: CODE or --alarms is required (see lanternctl --help)\n");
}

TEST_F(LanternCtlStatus, CompletionKnowsTheGroups)
{
    const std::pair<const char*, const char*> rows[] = {
        {"''", "Fans Lens System Temperature\n"}, {"f", "Fans\n"}, {"Fans ''", "\n"}};
    for (const auto& [typed, offered] : rows)
    {
        const std::string script =
            "source <(\"$0\" completion bash); COMP_WORDS=(lanternctl --port " + mTcp.back() + " status " +
            typed + "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _lanternctl \"$0\"; echo ${COMPREPLY[@]}";
        CCtlProcess bash({"-c", script, LANTERN_TEST_CTL}, {"PATH=/usr/bin:/bin"}, CCtlProcess::EOutput::Pipe,
                         "/bin/bash");
        EXPECT_EQ(bash.Wait(), 0);
        EXPECT_EQ(bash.GetOutput(), offered) << typed;
    }
}

TEST_F(LanternCtlStatus, AWatcherTellsEachAlarmOnce)
{
    Words arguments = mTcp;
    arguments.insert(arguments.end(), {"watch", "bri", "--alarms", "--count", "4"});
    CCtlProcess watch(arguments);
    ASSERT_TRUE(watch.WaitForOutput("warning active: System, Control values, not readable"));
    ASSERT_TRUE(watch.WaitForOutput("BRI 0"));
    Run(mTcp, {"set", "BRI", "5"});
    ASSERT_TRUE(watch.WaitForOutput("warning cleared: System, Control values\n"));
    EXPECT_EQ(Run(mTcp, {"alarms"}), "No alarms\n");

    std::filesystem::rename(mState, mState + "-away"); // as if the medium had gone
    Run(mTcp, {"set", "BRI", "6"});
    EXPECT_EQ(watch.Wait(), 0);
    EXPECT_THAT(watch.GetOutput(), HasSubstr("alarm raised: System, Control values, not saved: "));
    EXPECT_EQ(std::count(watch.GetOutput().begin(), watch.GetOutput().end(), '\n'), 6);
}

TEST(AlarmHistory, TellsWhatHappenedBetweenTwoLists)
{
    using EEvent = CAlarmHistory::EEvent;
    struct SCase
    {
        const char* mAlarms;
        std::vector<std::pair<EEvent, const char*>> mEvents; // with the value
    };
    const SCase cases[] = {
        {R"([{"group":"A","idx":1,"status":1,"value":"a"}])", {{EEvent::Active, "a"}}},
        {R"([{"group":"A","idx":1,"status":1,"value":"b"}])", {}},
        {R"([{"group":"A","idx":1,"status":2,"value":"c"},{"group":"B","idx":1,"status":1,"value":"d"}])",
         {{EEvent::Changed, "c"}, {EEvent::Raised, "d"}}},
        {R"([5,{"group":5},{"group":"B","idx":1,"status":1,"value":"e"},{"group":"B","idx":1,"status":1}])",
         {{EEvent::Cleared, "c"}}},
        {R"({"no":"list"})", {{EEvent::Cleared, "e"}}},
        {R"([])", {}},
    };
    CAlarmHistory history;
    for (const SCase& one : cases)
    {
        SCOPED_TRACE(one.mAlarms);
        const std::vector<CAlarmHistory::SEvent> events = history.Take(Parse(one.mAlarms));
        ASSERT_EQ(events.size(), one.mEvents.size());
        for (std::size_t i = 0; i < events.size(); ++i)
        {
            EXPECT_EQ(events[i].mEvent, one.mEvents[i].first);
            EXPECT_EQ(events[i].mAlarm["value"].asString(), one.mEvents[i].second);
        }
    }
}
