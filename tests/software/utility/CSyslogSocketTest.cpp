// The log daemon is a socket of the test's own.
#include "software/utility/CSyslogSocket.h"

#include "software/utility/CException.h"
#include "tests/support/CManualClock.h"
#include "tests/support/CTemporaryFolder.h"
#include "tests/support/CTestLogDaemon.h"

#include <regex>

#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

namespace
{
class SyslogSocket : public testing::Test
{
protected:
    /// The system error of writing one line; 0 when it was sent.
    static int Write(CSyslogSocket& socket, const std::string& text = "x")
    {
        try
        {
            socket.Write(LOG_INFO, text);
            return 0;
        }
        catch (const CException& failure)
        {
            return failure.GetSystemError();
        }
    }

    CTemporaryFolder mFolder;
    const std::string mPath = mFolder.File("log");
    CManualClock mClock{1000};
};
} // namespace

TEST_F(SyslogSocket, LinesHaveTheFormOfTheCLibrary)
{
    const CTestLogDaemon daemon(mPath);
    CSyslogSocket socket(mPath, "prog", mClock);
    socket.Write(LOG_ERR, "text: 100 %s");
    const std::string line = daemon.Read();
    const std::regex form(R"(<27>(Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) [ 123][0-9] )"
                          R"([0-9]{2}:[0-9]{2}:[0-9]{2} prog\[([0-9]+)\]: text: 100 %s)");
    std::smatch parts;
    ASSERT_TRUE(std::regex_match(line, parts, form)) << line;
    EXPECT_EQ(parts[2], std::to_string(::getpid()));
}

TEST_F(SyslogSocket, FindsADaemonThatComesBackButLooksOnceASecond)
{
    CSyslogSocket socket(mPath, "prog", mClock);
    EXPECT_EQ(Write(socket), ENOENT);
    {
        const CTestLogDaemon first(mPath);
        mClock.AdvanceMs(999);
        EXPECT_EQ(Write(socket), ENOENT) << "it has looked within this second";
        mClock.AdvanceMs(2);
        EXPECT_EQ(Write(socket), 0);
        mClock.AdvanceMs(5000);
    }
    EXPECT_EQ(Write(socket), ENOENT); // it looked again at once, because the last time is long ago
    const CTestLogDaemon second(mPath);
    EXPECT_EQ(Write(socket), ENOENT);
    mClock.AdvanceMs(1001);
    EXPECT_EQ(Write(socket, "here again"), 0);
    EXPECT_NE(second.Read().find("here again"), std::string::npos);
}

TEST_F(SyslogSocket, AFullQueueIsNoReasonToConnectAgain)
{
    const CTestLogDaemon daemon(mPath);
    CSyslogSocket socket(mPath, "prog", mClock);
    int sent = 0;
    while (sent < 100000 && Write(socket) == 0)
        ++sent;
    mClock.AdvanceMs(5000);
    EXPECT_EQ(Write(socket), EAGAIN);
    EXPECT_FALSE(daemon.Read().empty());
    EXPECT_EQ(Write(socket), 0);
}

TEST_F(SyslogSocket, AnImpossiblePathIsAnErrorLikeOthers)
{
    CSyslogSocket socket("/tmp/" + std::string(200, 'x'), "prog", mClock);
    EXPECT_EQ(Write(socket), ENAMETOOLONG);
}
