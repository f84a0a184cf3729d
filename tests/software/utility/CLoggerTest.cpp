// The lines are read back from the file they were written to.
#include "software/utility/CLogger.h"

#include "software/utility/CAtomicFile.h"
#include "software/utility/CDescriptor.h"
#include "software/utility/CException.h"
#include "software/utility/NUtf8.h"
#include "tests/support/CManualClock.h"
#include "tests/support/CTemporaryFolder.h"
#include "tests/support/CTestLogDaemon.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <future>
#include <regex>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

namespace
{
using CLines = std::vector<std::string>;

class Logger : public testing::Test
{
protected:
    Logger()
    {
        mOptions.mToConsole = false;
        mOptions.mFile = mFolder.File("log");
    }

    /// The lines so far, without date and time.
    CLines Read() const
    {
        std::string content;
        CAtomicFile::Read(mOptions.mFile, content, 100000000);
        std::istringstream in(content);
        const std::regex stamp("^[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} ");
        CLines lines;
        for (std::string line; std::getline(in, line);)
            lines.push_back(std::regex_replace(line, stamp, ""));
        return lines;
    }

    CTemporaryFolder mFolder;
    SLogOptions mOptions;
};
} // namespace

TEST_F(Logger, LevelsAndTheirLines)
{
    mOptions.mLevel = ELogLevel::Debug;
    CLogger log("Test", mOptions);
    const auto logAll = [&]
    {
        log.LogDebug("d %d", 1);
        log.LogFYI(eFyiHardware, "f %s", "x");
        log.Log("n");
        log.LogWarning("w");
        log.LogError("e");
    };
    logAll();
    const CLines all = {"Test debug: d 1", "Test info: FYI 4: f x", "Test info: n", "Test warning: w",
                        "Test error: e"};
    EXPECT_EQ(Read(), all);

    constexpr ELogLevel kLevels[] = {ELogLevel::Debug,   ELogLevel::Fyi,   ELogLevel::Normal,
                                     ELogLevel::Warning, ELogLevel::Error, ELogLevel::Off};
    CLines expected = all;
    for (std::size_t i = 0; i < std::size(kLevels); ++i)
    {
        log.SetLevel(kLevels[i]);
        for (std::size_t j = 0; j + 1 < std::size(kLevels); ++j)
            EXPECT_EQ(log.IsEnabled(kLevels[j]), j >= i);
        EXPECT_FALSE(log.IsEnabled(ELogLevel::Off));
        logAll();
        expected.insert(expected.end(), all.begin() + static_cast<std::ptrdiff_t>(i), all.end());
    }
    EXPECT_EQ(Read(), expected);
}

TEST_F(Logger, NoTextForgesASecondLine)
{
    CLogger log("Test", mOptions);
    log.Log("%s", "name\n2026-01-01 00:00:00.000 Test error: forged\r\x1B[2J");
    log.Log("{} %%n %s", "{0} %v");
    EXPECT_EQ(Read(), (CLines{"Test info: name\\n2026-01-01 00:00:00.000 Test error: forged\\r\\x1b[2J",
                              "Test info: {} %n {0} %v"}));
}

TEST_F(Logger, LongTextsAreCutAtACharacter)
{
    mOptions.mLevel = ELogLevel::Fyi;
    CLogger log("T", mOptions, 64);
    const std::string fits(63, 'x');
    log.Log("%s", fits.c_str());
    log.Log("%sy", fits.c_str());
    const std::string wide = std::string(59, 'x') + "\xE2\x82\xAC\xE2\x82\xAC";
    log.Log("%s", wide.c_str());
    log.LogFYI(eFyiGeneral, "%s", fits.c_str());
    EXPECT_EQ(Read(), (CLines{"T info: " + fits, "T info: " + std::string(60, 'x') + "...",
                              "T info: " + std::string(59, 'x') + "...",
                              "T info: FYI 0: " + std::string(53, 'x') + "..."}));
    CLogger usual("T", mOptions);
    usual.Log("%s", std::string(5000, 'z').c_str());
    EXPECT_EQ(Read().back().size(), std::string("T info: ").size() + 2047);
}

TEST_F(Logger, RepeatsAreHeldBackAndReported)
{
    mOptions.mLevel = ELogLevel::Fyi;
    CManualClock clock(100);
    {
        CLogger log("T", mOptions, CLogger::kDefaultBufferSize, &clock);
        log.EnableAntiSpam(1);
        for (int i = 0; i < 4; ++i)
        {
            log.LogWarning("fan %d stalled", 1);
            log.LogFYI(eFyiThermal, "warm");
        }
        clock.Advance(1000);
        log.Log("next");
        log.Log("next");
    }
    EXPECT_EQ(Read(), (CLines{"T warning: fan 1 stalled", "T info: FYI 5: warm",
                              "T warning: Held back 3 repeats of: fan 1 stalled",
                              "T info: Held back 3 repeats of: FYI 5: warm", "T info: next",
                              "T info: Held back 1 repeats of: next"}));
}

TEST_F(Logger, FullMediumCostsLinesButNeverThrows)
{
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    ::getrlimit(RLIMIT_FSIZE, &old);
    const std::string filling(4000, 'x');
    CAtomicFile::Write(mOptions.mFile, filling + "\n");
    CLogger log("T", mOptions);
    const rlimit full{4020, old.rlim_max}; // the next line fits in part, and what is told fits elsewhere
    ::setrlimit(RLIMIT_FSIZE, &full);
    testing::internal::CaptureStderr();
    errno = EPERM;
    log.LogWarning("lost %d", 1);
    log.LogWarning("lost %d", 2);
    EXPECT_EQ(errno, EPERM);
    const std::string told = testing::internal::GetCapturedStderr();
    ::setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, SIG_DFL);
    log.Log("last");

    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << told;
    EXPECT_NE(told.find("File too large"), std::string::npos) << told;
    const CLines lines = Read();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], filling);
    EXPECT_EQ(lines[1].find("T error: 2 lines were lost: "), 0u) << lines[1];
    EXPECT_EQ(lines[2], "T info: last");
}

TEST_F(Logger, ConsoleThatNobodyReadsStopsNobody)
{
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    CDescriptor reader(ends[0]);
    CDescriptor writer(ends[1]);
    const CDescriptor console(::dup(STDERR_FILENO));
    ::dup2(writer.Get(), STDERR_FILENO);
    writer.Reset();

    constexpr int kLines = 2000; // more than a pipe holds
    SLogOptions options;
    CLogger log("T", options);
    std::future<void> logging = std::async(std::launch::async,
                                           [&]
                                           {
                                               for (int i = 0; i < kLines; ++i)
                                                   log.Log("%d %s", i, std::string(900, '\x01').c_str());
                                           });
    const bool isDone = logging.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
    std::string told;
    const auto drain = [&]
    {
        std::string bytes(1 << 20, '\0');
        const ssize_t count = ::read(reader.Get(), bytes.data(), bytes.size());
        told.append(bytes, 0, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    };
    while (logging.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
        drain();
    drain();
    log.Log("last");
    drain();
    ::dup2(console.Get(), STDERR_FILENO);

    EXPECT_TRUE(isDone) << "a line waited for the reader";
    EXPECT_NE(told.find('\n', told.find(" lines were lost: standard error took no more")), std::string::npos);
    EXPECT_NE(told.find(" T info: last\n"), std::string::npos);
    // Each line that was begun ends before the next.
    std::istringstream in(told);
    for (std::string line; std::getline(in, line);)
        EXPECT_EQ(line.compare(0, 2, "20"), 0) << line;
}

TEST_F(Logger, LogDaemonThatReadsNothingStopsNobody)
{
    SLogOptions options;
    options.mToConsole = false;
    options.mToSyslog = true;
    options.mSyslogSocket = mFolder.File("daemon");
    const CTestLogDaemon daemon(options.mSyslogSocket);
    CLogger log("T", options);
    const std::string ident =
        std::string(program_invocation_short_name) + '[' + std::to_string(::getpid()) + "]: T: ";
    const auto read = [&](const std::string& priority)
    {
        const std::string line = daemon.Read();
        EXPECT_EQ(line.compare(0, priority.size(), priority), 0) << line;
        const std::size_t start = line.find(ident);
        return start == std::string::npos ? line : line.substr(start + ident.size());
    };
    log.LogWarning("warm");
    log.LogError("hot");
    EXPECT_EQ(read("<28>"), "warm");
    EXPECT_EQ(read("<27>"), "hot");

    constexpr int kLines = 2000; // more than a queue of datagrams holds
    testing::internal::CaptureStderr();
    std::future<void> logging = std::async(std::launch::async,
                                           [&]
                                           {
                                               for (int i = 0; i < kLines; ++i)
                                                   log.Log("%d", i);
                                           });
    const bool isDone = logging.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
    while (logging.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
        daemon.Read();
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(isDone) << "a line waited for the log daemon";
    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << told;

    int taken = 0;
    while (!daemon.Read().empty())
        ++taken;
    log.Log("last");
    EXPECT_EQ(read("<27>").find(std::to_string(kLines - taken) + " lines were lost: "), 0u);
    EXPECT_EQ(read("<30>"), "last");
}

TEST_F(Logger, UnusableFileIsRefusedAndChangesNothing)
{
    mOptions.mFile = mFolder.File("none/log");
    const auto message = [&](auto call)
    {
        try
        {
            call();
        }
        catch (const CException& error)
        {
            return error.GetMessage();
        }
        return std::string();
    };
    const std::string text = "Unable to open log file " + mOptions.mFile;
    EXPECT_EQ(message([&] { CLogger log("T", mOptions); }), text);
    EXPECT_EQ(message([&] { CLogger::SetDefaults(mOptions); }), text);
    testing::internal::CaptureStderr();
    CLogger("Still", 100).Log("on the console");
    EXPECT_NE(testing::internal::GetCapturedStderr().find(" Still info: on the console\n"),
              std::string::npos);
}

TEST_F(Logger, LoggersOfTheProcessShareOnePlace)
{
    mOptions.mLevel = ELogLevel::Debug;
    mOptions.mFileSize = 200; // they rotate the file together
    CLogger::SetDefaults(mOptions);
    {
        CLogger one("One");
        CLogger two("Two", 512);
        one.LogDebug("1");
        two.LogDebug("2");
        EXPECT_EQ(Read(), (CLines{"One debug: 1", "Two debug: 2"}));
    }
    CLogger::SetDefaults(SLogOptions());
}

TEST_F(Logger, LinesOfManyThreadsStayWhole)
{
    constexpr int kThreads = 4;
    constexpr int kLines = 500;
    {
        CLogger log("T", mOptions);
        std::vector<std::thread> threads;
        threads.reserve(kThreads);
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back(
                [&log, t]
                {
                    for (int i = 0; i < kLines; ++i)
                    {
                        log.Log("%d:%s", t, std::string(100, static_cast<char>('a' + t)).c_str());
                        if (i % 100 == 0)
                            log.EnableAntiSpam(0);
                    }
                });
        for (std::thread& thread : threads)
            thread.join();
    }
    const CLines lines = Read();
    EXPECT_EQ(lines.size(), static_cast<std::size_t>(kThreads * kLines));
    for (int t = 0; t < kThreads; ++t)
    {
        const std::string line =
            "T info: " + std::to_string(t) + ":" + std::string(100, static_cast<char>('a' + t));
        EXPECT_EQ(std::count(lines.begin(), lines.end(), line), kLines);
    }
}
