// The local IPC and the serial lines of the real program, and that all front ends serve the same projector.
#include "software/bp/serial/CEventLink.h"
#include "software/bp/serial/NIpcSocket.h"
#include "software/utility/CIpcMessage.h"
#include "tests/support/CDaemonProcess.h"
#include "tests/support/CRecordingLog.h"
#include "tests/support/CRpcConnection.h"
#include "tests/support/CSerialTerminal.h"
#include "tests/support/CTemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <list>
#include <thread>

#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>

namespace
{
constexpr int kController = CEventLink::kNoAccessGroup;

class LanterndFrontEnds : public testing::Test
{
protected:
    // The value in each notification of a link: of those that are there, and until there are so many.
    static std::vector<int> CollectValues(CEventLink& link, std::size_t count)
    {
        std::list<CIpcMessage> notifications;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        do // at least once: for what should not be there
        {
            pollfd wait{link.GetNotifyDescriptor(), POLLIN, 0};
            ::poll(&wait, 1, 100);
            link.ProcessNotify(notifications);
        } while (notifications.size() < count && std::chrono::steady_clock::now() < deadline);
        std::vector<int> values;
        for (const CIpcMessage& notification : notifications)
        {
            int value = -1;
            notification.GetArg(0, value);
            values.push_back(value);
        }
        return values;
    }

    static std::chrono::microseconds MedianOf(const std::function<void()>& action)
    {
        constexpr std::size_t kTimes = 200;
        std::vector<std::chrono::steady_clock::duration> times(kTimes);
        for (auto& time : times)
        {
            const auto start = std::chrono::steady_clock::now();
            action();
            time = std::chrono::steady_clock::now() - start;
        }
        std::sort(times.begin(), times.end());
        return std::chrono::duration_cast<std::chrono::microseconds>(times[kTimes / 2]);
    }

    static bool AwaitLog(const CDaemonProcess& daemon, const std::string& text)
    {
        for (int i = 0; i < 500 && daemon.GetLog().find(text) == std::string::npos; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return daemon.GetLog().find(text) != std::string::npos;
    }

    CTemporaryFolder mFolder;
    const std::string mState = mFolder.File("s");
    CRecordingLog mLog;
};
} // namespace

TEST_F(LanterndFrontEnds, EachTellsEachSubscriberOfEachChangeOnce)
{
    CDaemonProcess daemon(mState, {"--serial", "pty", "--serial", "pty"});
    EXPECT_EQ(daemon.GetReady("serial"), daemon.GetRunDir() + "/serial0," + daemon.GetRunDir() + "/serial1");
    CRpcConnection tcp(daemon.GetPort());
    CEventLink ipc(mLog, "panel", daemon.GetRunDir());
    CSerialTerminal line(daemon.GetRunDir() + "/serial0");
    Json::Value params;
    params.append("LUM");
    ASSERT_TRUE(tcp.Call("control:addListener", params).isMember("result"));
    ASSERT_EQ(ipc.NotifyRegister(kController, "LUM"), eErrorNone);
    line.Send("($NOT R\"LUM\")");
    ASSERT_EQ(line.Receive(), "$");

    // Made by others, who therefore get replies and no notifications.
    CRpcConnection otherTcp(daemon.GetPort());
    CEventLink otherIpc(mLog, "other", daemon.GetRunDir());
    CSerialTerminal otherLine(daemon.GetRunDir() + "/serial1");
    EXPECT_EQ(otherTcp.Set("LUM", 100)["result"]["value"], 100);
    EXPECT_EQ(otherIpc.SetValue(kController, "LUM", 200), eErrorNone);
    EXPECT_EQ(otherLine.Ask("(LUM300)"), "(LUM!300)");

    for (const int value : {100, 200, 300})
    {
        const Json::Value notification = tcp.ReceiveJson();
        EXPECT_EQ(notification["method"], "control:notify");
        EXPECT_NE(notification["params"].toStyledString().find(std::to_string(value)), std::string::npos);
        EXPECT_EQ(line.Receive(), "(LUM!" + std::to_string(value) + ")");
    }
    EXPECT_EQ(CollectValues(ipc, 3), (std::vector<int>{100, 200, 300}));
    // Nothing else was under way: the next thing on each is the reply to the next request.
    tcp.Send(R"({"jsonrpc":"2.0","id":99,"method":"getC4JVersion"})");
    EXPECT_EQ(tcp.ReceiveJson()["id"], 99);
    EXPECT_EQ(line.Ask("(BRI?)"), "(BRI!000)");
    int value = -1;
    EXPECT_EQ(ipc.GetValue(kController, "LUM", value), eErrorNone);
    EXPECT_EQ(value, 300);
    EXPECT_EQ(CollectValues(ipc, 0), std::vector<int>());
}

TEST_F(LanterndFrontEnds, ALineAnswers)
{
    CDaemonProcess daemon(mState, {"--serial", "pty"});
    CSerialTerminal line(daemon.GetRunDir() + "/serial0");
    struct SCase
    {
        const char* mSent;
        std::vector<std::string> mAnswers;
    };
    const SCase cases[] = {
        {"(lum?)", {"(LUM!1000)"}},
        {"(LUM500)", {"(LUM!500)"}},
        {"(LUM 400)\r\n", {"(LUM!400)"}},
        {"(&LUM? 115)", {"(&LUM!400 233)"}},
        {"(&LUM? 116)", {"(65535 ERR00010 \"Syntax Error: checksum failed: 116\")"}},
        {"(65535 LUM?)", {"(LUM!400)"}},
        {"(7 LUM?)($LUM600)", {"(LUM!600)", "$"}}, // the first is for another unit
        {"($XYZ1)", {"(65535 ERR00101 \"XYZ: Control Not Found\")", "^"}},
        {"(PWR1)", {"(PWR!001)"}},
        {"(NME\"K\xC3\xA4se \\(kalt\\)\")", {"(NME!\"K\xC3\xA4se \\(kalt\\)\")"}},
        {"(NME\"\xC3\")", {"(65535 ERR00104 \"NME: Invalid Value\")"}},
        {"(KST+TLPX-20)", {"(KST+TLPX!-020)"}},
        {"(SRC?)", {"(SRC!000 \"HDMI 1\")"}},
        {"(SRC3)", {"(65535 ERR00105 \"SRC: Disabled Control\")"}},
        {"(FN1 3)", {"(65535 ERR00105 \"FN1: This control is read-only\")"}},
        {"(SVM?)", {"(65535 ERR00117 \"SVM: Invalid Access Group\")"}},
        {"($UID\"admin\"\"secret\")", {"(65535 ERR00117 \"UID: Invalid user name or password\")", "^"}},
        {"(NOT W\"BRI\")(BRI5)", {"(BRI!000)", "(BRI!005)", "(BRI!005)"}}, // the notification, then the reply
        {"($NOT U\"*\")(BRI6)", {"$", "(BRI!006)"}},
    };
    for (const SCase& row : cases)
    {
        SCOPED_TRACE(row.mSent);
        line.Send(row.mSent);
        for (const std::string& answer : row.mAnswers)
            EXPECT_EQ(line.Receive(), answer);
    }
    EXPECT_EQ(CRpcConnection(daemon.GetPort()).Get("NME"), "K\xC3\xA4se (kalt)");
}

TEST_F(LanterndFrontEnds, AUnitAnswersToItsAddressAndRelaysWhatIsForOthers)
{
    CDaemonProcess daemon(mState, {"--serial", "pty", "--serial", "pty", "--address", "7", "--routing", "1"});
    CSerialTerminal first(daemon.GetRunDir() + "/serial0");
    CSerialTerminal second(daemon.GetRunDir() + "/serial1");
    EXPECT_EQ(first.Ask("(7 3 LUM?)"), "(00003 00007 LUM!1000)");
    first.Send("(8 3 LUM?)");
    EXPECT_EQ(second.Receive(), "(00008 00003 LUM?)"); // and not the one before
    EXPECT_EQ(first.Ask("(65535 3 BRI7)"), "(00003 00007 BRI!007)");
    EXPECT_EQ(second.Receive(), "(65535 00003 BRI7)");
    second.Send("(3 8 LUM!500)");
    EXPECT_EQ(first.Receive(), "(00003 00008 LUM!500)");
}

TEST_F(LanterndFrontEnds, AnswerAtOnce)
{
    CDaemonProcess daemon(mState, {"--serial", "pty"});
    CEventLink link(mLog, "panel", daemon.GetRunDir());
    CSerialTerminal line(daemon.GetRunDir() + "/serial0");
    CRpcConnection idle(daemon.GetPort());
    // Whoever had to wait for the network's turn would need some 10 ms each time.
    const auto limit = std::chrono::milliseconds(4);
    int value = 0;
    EXPECT_LT(MedianOf([&] { link.GetValue(kController, "LUM", value); }), limit);
    EXPECT_EQ(value, 1000);
    EXPECT_LT(MedianOf([&] { EXPECT_EQ(line.Ask("(LUM?)"), "(LUM!1000)"); }), limit);
}

TEST_F(LanterndFrontEnds, ReplaceWhatAKillLeftAndRemoveTheirOwn)
{
    CDaemonProcess killed(mState, {"--serial", "pty"});
    const std::string run = killed.GetRunDir();
    const std::string socket = run + "/main_controller.socket";
    CEventLink link(mLog, "panel", run);
    ASSERT_EQ(link.NotifyRegister(kController, "LUM"), eErrorNone);
    EXPECT_EQ(killed.Stop(SIGKILL), -SIGKILL);
    EXPECT_EQ(CollectValues(link, 0), std::vector<int>());
    EXPECT_TRUE(link.IsNotifyLost());
    ASSERT_TRUE(std::filesystem::exists(socket));
    ASSERT_TRUE(std::filesystem::is_symlink(run + "/serial0"));

    CDaemonProcess daemon(mState, {"--serial", "pty"});
    EXPECT_NE(daemon.GetLog().find("Socket " + socket + " was left by a process that is gone; replaced"),
              std::string::npos);
    EXPECT_EQ(CSerialTerminal(run + "/serial0").Ask("(LUM?)"), "(LUM!1000)");
    EXPECT_EQ(link.NotifyRegister(kController, "LUM"), eErrorNone); // the same link goes on
    EXPECT_EQ(link.SetValue(kController, "LUM", 42), eErrorNone);
    EXPECT_EQ(CollectValues(link, 1), std::vector<int>{42});

    struct stat status
    {
    };
    ASSERT_EQ(::stat(socket.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0660u);
    ASSERT_EQ(::stat(run.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0750u);
    EXPECT_EQ(daemon.Stop(), 0);
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(socket)));
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(run + "/serial0")));
}

TEST_F(LanterndFrontEnds, ADeviceThatIsUnpluggedClosesAlone)
{
    CDescriptor master(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    ASSERT_EQ(::grantpt(master.Get()) | ::unlockpt(master.Get()), 0);
    char name[64];
    ASSERT_EQ(::ptsname_r(master.Get(), name, sizeof name), 0);
    CDaemonProcess daemon(mState, {"--serial", name + std::string(":9600"), "--serial", "pty"});
    EXPECT_EQ(daemon.GetReady("serial"), name + std::string(",") + daemon.GetRunDir() + "/serial1");
    {
        CSerialTerminal cable(std::move(master));
        EXPECT_EQ(cable.Ask("(LUM?)"), "(LUM!1000)");
    }
    EXPECT_TRUE(AwaitLog(daemon, "Serial port " + std::string(name) + " closed"));
    EXPECT_EQ(CSerialTerminal(daemon.GetRunDir() + "/serial1").Ask("(LUM?)"), "(LUM!1000)");
    EXPECT_EQ(daemon.Stop(), 0);
}

TEST_F(LanterndFrontEnds, AreNotDisturbedByNonsenseAndFloods)
{
    CDaemonProcess daemon(mState, {"--serial", "pty", "--serial", "pty", "--log", "error"});
    CSerialTerminal flood(daemon.GetRunDir() + "/serial0"); // whose answers nobody reads
    CSerialTerminal line(daemon.GetRunDir() + "/serial1");
    CEventLink link(mLog, "panel", daemon.GetRunDir());
    CRpcConnection tcp(daemon.GetPort());
    const std::string socket = NIpcSocket::MakeServerName(daemon.GetRunDir());
    std::string requests;
    while (requests.size() < 3000)
        requests += "(SRC?L)(\"\x01((\xFF(&";
    for (int round = 0; round < 20; ++round)
    {
        flood.Send(requests);
        const CDescriptor nonsense(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        ASSERT_EQ(NIpcSocket::Connect(nonsense, socket), 0);
        ASSERT_GT(::send(nonsense.Get(), requests.data(), requests.size(), MSG_NOSIGNAL), 0);
        int value = 0;
        EXPECT_EQ(link.GetValue(kController, "LUM", value), eErrorNone);
        EXPECT_EQ(value, 1000);
        EXPECT_EQ(line.Ask("(LUM?)"), "(LUM!1000)");
        EXPECT_EQ(tcp.Get("LUM"), 1000);
    }
    EXPECT_EQ(daemon.Stop(), 0);
}
