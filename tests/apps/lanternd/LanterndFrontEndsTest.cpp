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
