// Over the local IPC and serial lines, with the real daemon behind them.
#include "tests/apps/lanternctl/CCtlProcess.h"
#include "tests/support/CDaemonProcess.h"
#include "tests/support/CTemporaryFolder.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <list>
#include <numeric>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <thread>

namespace
{
using testing::HasSubstr;
using Words = std::vector<std::string>;

struct SRun
{
    Words mArguments;
    int mExitCode;
    std::string mOutput;
    std::string mErrors;
};

Words operator+(Words left, const Words& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

std::size_t CountOf(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

class LanternCtlLocal : public testing::Test
{
protected:
    void Expect(const Words& way, const SRun& expected) const
    {
        SCOPED_TRACE(testing::PrintToString(way + expected.mArguments));
        CCtlProcess process(way + expected.mArguments);
        EXPECT_EQ(process.Wait(), expected.mExitCode);
        EXPECT_EQ(process.GetOutput(), expected.mOutput);
        EXPECT_EQ(process.GetErrors(), expected.mErrors);
    }

    CTemporaryFolder mFolder;
    CDaemonProcess mDaemon{mFolder.File("s"), {"--serial", "pty", "--serial", "pty"}};
    const std::string mRunDir = mFolder.File("s.run");
    const std::string mLine = mRunDir + "/serial0";
    const std::string mOtherLine = mRunDir + "/serial1";
    const Words mTcp{"--port", std::to_string(mDaemon.GetPort())};
    const Words mIpc{"--ipc", mRunDir};
    const Words mSerial{"--serial", mLine};
};
} // namespace

TEST_F(LanternCtlLocal, EveryWatcherTellsEveryChangeOnceWhoeverMadeIt)
{
    // What an earlier client registered on the line must not make it tell twice.
    Expect(mSerial, {{"send", "(NOT R\"BRI\" R\"SRC\")"}, 0, "", ""});
    const Words ways[] = {mTcp, mIpc, mSerial};
    std::list<CCtlProcess> watchers;
    for (const Words& way : ways)
    {
        watchers.emplace_back(way + Words{"watch", "BRI", "SRC", "bri", "--count", "6"});
        ASSERT_TRUE(watchers.back().WaitForOutput("BRI 0\n"));
        ASSERT_TRUE(watchers.back().WaitForOutput("SRC HDMI 1\n"));
    }
    const Words setters[] = {mTcp, mIpc, {"--serial", mOtherLine}};
    const char* const sources[] = {"HDMI 2", "DisplayPort", "Network"};
    for (int i = 0; i < 3; ++i)
    {
        const std::string brightness = std::to_string(i + 1);
        Expect(setters[i], {{"set", "BRI", brightness}, 0, brightness + "\n", ""});
        Expect(setters[i], {{"set", "SRC", sources[i]}, 0, sources[i] + std::string("\n"), ""});
    }
    for (CCtlProcess& watcher : watchers)
    {
        EXPECT_EQ(watcher.Wait(), 0);
        for (const char* change : {"BRI 1\n", "BRI 2\n", "BRI 3\n"})
            EXPECT_EQ(CountOf(watcher.GetOutput(), change), 1u) << watcher.GetOutput();
        for (const char* source : sources)
            EXPECT_EQ(CountOf(watcher.GetOutput(), std::string("SRC ") + source + "\n"), 1u);
        EXPECT_EQ(watcher.GetErrors(), "");
    }
}

TEST_F(LanternCtlLocal, BothWaysShowAndTakeNumbersAsTheyAre)
{
    const SRun runs[] = {
        {{"set", "LUM", "735"}, 0, "735\n", ""},
        {{"get", "lum"}, 0, "735\n", ""},
        {{"--json", "get", "LUM"}, 0, "{\"code\":\"LUM\",\"value\":735}\n", ""},
        {{"set", "LUM", "1735"}, 0, "1000\n", "lanternctl: LUM: the projector made it 1000\n"},
        {{"set", "LUM", "73.5"}, 2, "", "lanternctl: LUM: \"73.5\" is not a whole number\n"},
        {{"set", "BRI", "-20"}, 0, "-20\n", ""},
        {{"set", "PWR", "on"}, 0, "1\n", ""},
        {{"set", "PWR", "0"}, 0, "0\n", ""},
        {{"set", "kst+tlpx", "12"}, 0, "12\n", ""},
        {{"set", "SRC", "hdmi 2"}, 0, "HDMI 2\n", ""},
        {{"set", "SRC", "0"}, 0, "HDMI 1\n", ""},
        {{"--json", "get", "SRC"}, 0, "{\"code\":\"SRC\",\"text\":\"HDMI 1\",\"value\":0}\n", ""},
        {{"set", "NME", "123"}, 0, "123\n", ""}, // a text, though it looks like a number
        {{"set", "NME", "a(\"\\)\nö"}, 0, "a(\"\\)\nö\n", ""},
        {{"set", "NME", ""}, 0, "\n", ""},
        {{"set", "LHM"}, 0, "", ""},
        {{"get", "LUM", "SRC", "PWR"}, 0, "LUM  1000\nSRC  HDMI 1\nPWR  0\n", ""},
        {{"get", "XYZ"}, 1, "", "lanternctl: XYZ: Control Not Found (101)\n"},
        {{"get", "KST+12"}, 1, "", "lanternctl: KST+12: Control Not Found (101)\n"},
        {{"set", "XYZ", "5"}, 1, "", "lanternctl: XYZ: Control Not Found (101)\n"},
        {{"watch", "LUM", "XYZ"}, 1, "", "lanternctl: XYZ: Control Not Found (101)\n"},
        {{"set", "SRC", "SDI"}, 1, "", "lanternctl: SRC: Disabled Control (105)\n"},
        {{"set", "SRC", "99"}, 1, "", "lanternctl: SRC: Invalid Value (104)\n"},
        {{"set", "TP1", "5"}, 1, "", "lanternctl: TP1: This control is read-only (105)\n"},
        {{"get", "MMM+MAIN"}, 1, "", "lanternctl: MMM+MAIN: This control can not be read (103)\n"},
        {{"info", "SRC"},
         0,
         "SRC\n"
         "  value    HDMI 1\n"
         "  type     choice (400)\n"
         "  range    5 choices\n"
         "  default  HDMI 1\n"
         "  access   group 2\n"
         "  enabled  yes\n"
         "  choices\n"
         "    0  HDMI 1\n"
         "    1  HDMI 2\n"
         "    2  DisplayPort\n"
         "    3  SDI          disabled\n"
         "    4  Network\n",
         ""},
        {{"--json", "info", "CTR"},
         0,
         "{\"access\":2,\"code\":\"CTR\",\"default\":500,\"enabled\":true,\"max\":1000,\"min\":0,\"type\":"
         "200,"
         "\"value\":500}\n",
         ""},
    };
    for (const Words& way : {mIpc, mSerial})
    {
        for (const SRun& run : runs)
            Expect(way, run);
    }
    // The controller itself may use what nobody on a line may who has not logged in.
    Expect(mIpc, {{"set", "SVO", "7"}, 0, "7\n", ""});
    Expect(mSerial, {{"set", "SVO", "7"}, 1, "", "lanternctl: SVO: Invalid Access Group (117)\n"});
    Expect(mSerial, {{"watch", "SVO"}, 1, "", "lanternctl: SVO: Invalid Access Group (117)\n"});
}

TEST_F(LanternCtlLocal, OneWayAtATimeAndEachForWhatItCan)
{
    const std::string tooLong(120, 'x');
    const SRun runs[] = {
        {mIpc + mSerial + Words{"get", "LUM"}, 2, "", "--ipc excludes --serial"},
        {mIpc + mTcp + Words{"get", "LUM"}, 2, "", "excludes"},
        {mSerial + Words{"--host", "localhost", "get", "LUM"}, 2, "", "--host excludes --serial"},
        {{"--ipc", "", "get", "LUM"}, 2, "", "--ipc: must not be empty"},
        {mIpc + Words{"list"}, 2, "", "list works over TCP (--host, --port) only, not over the local IPC"},
        {mSerial + Words{"modules"}, 2, "", "modules works over TCP (--host, --port) only"},
        {mSerial + Words{"call", "get"}, 2, "", "call works over TCP (--host, --port) only"},
        {mTcp + Words{"send", "(PWR?)"}, 2, "",
         "send works over a serial line (--serial) only, not over TCP"},
        {{"--serial", mLine + ":123", "get", "LUM"}, 2, "", "no such baud rate"},
        {{"--ipc", "/" + tooLong, "get", "LUM"}, 2, "", "is too long"},
        {{"--ipc", mFolder.GetPath(), "get", "LUM"}, 3, "", "no connection to "},
        {{"--serial", mFolder.File("none"), "get", "LUM"}, 3, "", "No such file or directory"},
        {{"--serial", "pty", "get", "LUM"}, 3, "", "no connection to pty: No such file"},
        {{"--serial", "/dev/null", "get", "LUM"}, 3, "", "no connection to /dev/null: it is no serial line"},
        {{"--serial", mLine + ":9600", "get", "PWR"}, 0, "0\n", ""},
    };
    for (const SRun& run : runs)
    {
        SCOPED_TRACE(testing::PrintToString(run.mArguments));
        CCtlProcess process(run.mArguments);
        EXPECT_EQ(process.Wait(), run.mExitCode);
        EXPECT_EQ(process.GetOutput(), run.mOutput);
        EXPECT_THAT(process.GetErrors(), HasSubstr(run.mErrors));
    }
    // What is set for the network says nothing about another way.
    CCtlProcess ipc(mIpc + Words{"get", "PWR"}, {"LANTERN_HOST=nowhere", "LANTERN_PORT=none"});
    EXPECT_EQ(ipc.Wait(), 0);
    EXPECT_EQ(ipc.GetErrors(), "");
    // The folder may be called otherwise than by the control process.
    const std::string link = mFolder.File("link");
    ASSERT_EQ(symlink(mRunDir.c_str(), link.c_str()), 0);
    CCtlProcess watch({"--ipc", link, "watch", "PWR"});
    EXPECT_TRUE(watch.WaitForOutput("PWR 0\n"));
}

TEST_F(LanternCtlLocal, WhoMayNotMakeFilesInTheRunDirectoryMayAskButNotWatch)
{
    ASSERT_EQ(chmod(mRunDir.c_str(), 0550), 0);
    // What a thread gives up here, for root may write everywhere, only the programs that it starts go
    // without.
    std::thread weak(
        [&]
        {
            prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE);
            Expect(mIpc, {{"get", "PWR"}, 0, "0\n", ""});
            Expect(mIpc, {{"watch", "PWR"},
                          3,
                          "",
                          "lanternctl: unable to open a socket for notifications in " + mRunDir +
                              "/: it takes the right to make files there\n"});
        });
    weak.join();
    chmod(mRunDir.c_str(), 0750);
}

TEST_F(LanternCtlLocal, SendsOneMessageAsItIs)
{
    const auto withSum = [](const std::string& text)
    {
        const auto sum =
            std::accumulate(text.begin(), text.end(), 0u,
                            [](unsigned total, char c) { return total + static_cast<unsigned char>(c); });
        return "(" + text + std::to_string(sum % 256) + ")";
    };
    const SRun runs[] = {
        {{"send", "(PWR?)"}, 0, "(PWR!000)\n", ""},
        {{"send", withSum("&PWR? ")}, 0, "(&PWR!000 240)\n", ""},
        {{"send", "(&PWR? 7)"},
         1,
         "(65535 ERR00010 \"Syntax Error: checksum failed: 7\")\n",
         "lanternctl: Syntax Error: checksum failed: 7 (10)\n"},
        {{"send", "(65535 PWR?)"}, 0, "(PWR!000)\n", ""}, // to every unit
        {{"send", "($XYZ 1)"},
         1,
         "(65535 ERR00101 \"XYZ: Control Not Found\")\n^\n",
         "lanternctl: XYZ: Control Not Found (101)\n"},
        {{"send", "($LUM 5000)"}, 0, "(LUM!1000)\n$\n", ""},
        {{"send", "(FYI)"}, 0, "", ""},            // nothing to say, and nothing was asked
        {{"--timeout", "200", "send", "(7 PWR?)"}, // to another unit
         3,
         "",
         "lanternctl: no answer from " + mLine + " within 200 ms\n"},
        {{"send", "(LUM?)(BRI?)"}, 0, "(LUM!1000)\n(BRI!000)\n", ""},
        {{"--json", "send", "(SRC?)"},
         0,
         "{\"arguments\":[0,\"HDMI 1\"],\"code\":\"SRC\",\"line\":\"(SRC!000 \\\"HDMI 1\\\")\"}\n",
         ""},
        {{"send", "PWR?"}, 2, "", "lanternctl: a message stands in parentheses, such as \"(LUM?)\"\n"},
        {{"send", "(NME\"a"}, 2, "", "lanternctl: the message has no end: a quote or \")\" is missing\n"},
    };
    for (const SRun& run : runs)
        Expect(mSerial, run);
}

TEST_F(LanternCtlLocal, LeavesTheLineAsTheDaemonNeedsIt)
{
    const CDescriptor slave(open(mLine.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    termios settings{};
    ASSERT_EQ(tcgetattr(slave.Get(), &settings), 0);
    settings.c_lflag |= ECHO | ICANON; // somebody's terminal program
    settings.c_iflag |= ICRNL;
    ASSERT_EQ(tcsetattr(slave.Get(), TCSANOW, &settings), 0);
    {
        CCtlProcess watch(mSerial + Words{"watch", "BRI"});
        ASSERT_TRUE(watch.WaitForOutput("BRI 0\n"));
        Expect(mSerial, {{"--timeout", "100", "get", "LUM"},
                         3,
                         "",
                         "lanternctl: no connection to " + mLine + ": another client uses the line\n"});
        watch.Signal(SIGKILL);
        watch.Wait();
    }
    Expect(mIpc, {{"set", "BRI", "3"}, 0, "3\n", ""}); // told on a line where nobody listens any longer
    Expect(mSerial, {{"get", "BRI"}, 0, "3\n", ""});
    ASSERT_EQ(tcgetattr(slave.Get(), &settings), 0);
    EXPECT_EQ(settings.c_lflag & (ECHO | ICANON), 0u);
    int isExclusive = -1; // it would keep everybody out for as long as the daemon runs
    ASSERT_EQ(ioctl(slave.Get(), TIOCGEXCL, &isExclusive), 0);
    EXPECT_EQ(isExclusive, 0);

    // Whoever ends properly unregisters.
    CCtlProcess watch(mSerial + Words{"watch", "BRI"});
    ASSERT_TRUE(watch.WaitForOutput("BRI 3\n"));
    watch.Signal(SIGINT);
    EXPECT_EQ(watch.Wait(), 0);
    Expect(mIpc, {{"set", "BRI", "4"}, 0, "4\n", ""});
    Expect(mSerial, {{"send", "(BRI?)"}, 0, "(BRI!004)\n", ""});
}

TEST_F(LanternCtlLocal, WatchersSayWhenTheDaemonHasGone)
{
    std::list<CCtlProcess> watchers;
    for (const Words& way : {mIpc, mSerial})
    {
        watchers.emplace_back(way + Words{"watch", "NME"});
        ASSERT_TRUE(watchers.back().WaitForOutput("NME \n"));
    }
    mDaemon.Stop(SIGKILL);
    for (CCtlProcess& watcher : watchers)
    {
        EXPECT_EQ(watcher.Wait(), 3);
        EXPECT_THAT(watcher.GetErrors(), HasSubstr(" lost\n"));
    }
}
