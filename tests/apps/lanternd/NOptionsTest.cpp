// The command line: what it sets and how it is refused.
#include "apps/lanternd/NOptions.h"

#include "apps/lanternd/SOptions.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

namespace
{
struct SParsed
{
    std::optional<int> mExitCode;
    SOptions mOptions;
    std::string mOut;
    std::string mErr;
};

SParsed Parse(std::vector<const char*> arguments)
{
    arguments.insert(arguments.begin(), "lanternd");
    SParsed parsed;
    std::ostringstream out;
    std::ostringstream err;
    parsed.mExitCode =
        NOptions::Parse(static_cast<int>(arguments.size()), arguments.data(), parsed.mOptions, out, err);
    parsed.mOut = out.str();
    parsed.mErr = err.str();
    return parsed;
}
} // namespace

TEST(LanterndOptions, HaveDefaults)
{
    const SParsed parsed = Parse({});
    EXPECT_FALSE(parsed.mExitCode);
    EXPECT_EQ(parsed.mOptions.mPort, 7400);
    EXPECT_EQ(parsed.mOptions.mBindAddress, "0.0.0.0");
    EXPECT_EQ(parsed.mOptions.mRunDir, "/var/run/ui/");
    EXPECT_EQ(parsed.mOptions.mStateDir, "/var/lib/lantern");
    EXPECT_NE(parsed.mOptions.mConfigDir.find("/lantern"), std::string::npos);
    EXPECT_EQ(parsed.mOptions.mLanguage, "en");
    EXPECT_TRUE(parsed.mOptions.mSerialPorts.empty());
    EXPECT_EQ(parsed.mOptions.mAddress, 65533);
    EXPECT_EQ(parsed.mOptions.mRouting, eRouting2And4);
    EXPECT_EQ(parsed.mOptions.mTransport, EPtTransport::Local);
    EXPECT_EQ(parsed.mOptions.mMaxClients, 0u);
    EXPECT_EQ(parsed.mOptions.mMaxPerPeer, 0u);
    EXPECT_EQ(parsed.mOptions.mMaxPendingBytes, 67108864u);
    EXPECT_EQ(parsed.mOptions.mLogLevel, ELogLevel::Fyi);
}

TEST(LanterndOptions, AreTaken)
{
    const SParsed parsed = Parse({"--port",
                                  "0",
                                  "--bind",
                                  "127.0.0.1",
                                  "--state-dir",
                                  "/s",
                                  "--config-dir=/c",
                                  "--language",
                                  "de",
                                  "--run-dir",
                                  "/r",
                                  "--serial",
                                  "/dev/ttyS0:9600",
                                  "--serial",
                                  "pty",
                                  "--address",
                                  "1023",
                                  "--routing",
                                  "3",
                                  "--bus",
                                  "spi",
                                  "--max-clients",
                                  "7",
                                  "--max-per-peer",
                                  "3",
                                  "--max-pending",
                                  "1000000",
                                  "--log",
                                  "Warning",
                                  "--log-file",
                                  "/l",
                                  "--syslog"});
    EXPECT_FALSE(parsed.mExitCode) << parsed.mErr;
    EXPECT_EQ(parsed.mOptions.mPort, 0);
    EXPECT_EQ(parsed.mOptions.mBindAddress, "127.0.0.1");
    EXPECT_EQ(parsed.mOptions.mStateDir, "/s");
    EXPECT_EQ(parsed.mOptions.mConfigDir, "/c");
    EXPECT_EQ(parsed.mOptions.mLanguage, "de");
    EXPECT_EQ(parsed.mOptions.mRunDir, "/r");
    EXPECT_EQ(parsed.mOptions.mSerialPorts, (std::vector<std::string>{"/dev/ttyS0:9600", "pty"}));
    EXPECT_EQ(parsed.mOptions.mAddress, 1023);
    EXPECT_EQ(parsed.mOptions.mRouting, eRoutingAll);
    EXPECT_EQ(parsed.mOptions.mTransport, EPtTransport::Spi);
    EXPECT_EQ(parsed.mOptions.mMaxClients, 7u);
    EXPECT_EQ(parsed.mOptions.mMaxPerPeer, 3u);
    EXPECT_EQ(parsed.mOptions.mMaxPendingBytes, 1000000u);
    EXPECT_EQ(parsed.mOptions.mLogLevel, ELogLevel::Warning);
    EXPECT_EQ(parsed.mOptions.mLogFile, "/l");
    EXPECT_TRUE(parsed.mOptions.mUseSyslog);
}

TEST(LanterndOptions, WrongUsageIsOneSentenceAndCode2)
{
    const std::vector<std::vector<const char*>> cases = {
        {"--port", "65536"},
        {"--port", "-1"},
        {"--port", "http"},
        {"--bind", "localhost"},
        {"--bind", "1.2.3"},
        {"--language", "../de"},
        {"--serial"},
        {"--serial", "pty", "pty"},
        {"--serial", "1", "--serial", "2", "--serial", "3", "--serial", "4", "--serial", "5", "--serial",
         "6"},
        {"--address", "1024"},
        {"--address", "-1"},
        {"--routing", "4"},
        {"--bus", "usb"},
        {"--max-clients", "0"},
        {"--max-per-peer", "0"},
        {"--max-pending", "-5"},
        {"--log", "shouting"},
        {"--colour"},
        {"start"},
        {"--state-dir"},
    };
    for (const std::vector<const char*>& arguments : cases)
    {
        SCOPED_TRACE(std::string(arguments.front()) + " " + arguments.back());
        const SParsed parsed = Parse(arguments);
        EXPECT_EQ(parsed.mExitCode, 2);
        EXPECT_EQ(parsed.mErr.rfind("lanternd: ", 0), 0u);
        EXPECT_EQ(parsed.mErr.find('\n'), parsed.mErr.size() - 1);
        EXPECT_EQ(parsed.mOut, "");
    }
}

TEST(LanterndOptions, HelpAndVersionGoToStandardOutput)
{
    const SParsed help = Parse({"--help"});
    EXPECT_EQ(help.mExitCode, 0);
    for (const char* option :
         {"--port", "--bind", "--run-dir", "--serial", "--address", "--routing", "--bus", "--state-dir",
          "--config-dir", "--max-clients", "--max-per-peer", "--max-pending", "--language", "--log",
          "--log-file", "--syslog", "--version", "7400"})
        EXPECT_NE(help.mOut.find(option), std::string::npos) << option;
    const SParsed version = Parse({"--version"});
    EXPECT_EQ(version.mExitCode, 0);
    EXPECT_EQ(version.mOut.rfind("lanternd ", 0), 0u);
}
