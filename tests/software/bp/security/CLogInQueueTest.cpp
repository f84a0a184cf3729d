// Log-ins beside the loop.
#include "software/bp/security/CLogInQueue.h"

#include "software/bp/security/CSecurityManager.h"
#include "tests/support/CRecordingLog.h"
#include "tests/support/CTemporaryFolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <vector>

#include <poll.h>

namespace
{
constexpr SScryptCost kCheap{16, 1, 1};
constexpr STryDelays kNone{std::chrono::milliseconds(0), 1000, std::chrono::milliseconds(0)};
constexpr STryDelays kEndless{std::chrono::hours(1), 0, std::chrono::hours(1)};

class CLogInQueueTest : public testing::Test
{
protected:
    ILogIn::Done Note(const std::string& who)
    {
        return [this, who](const SLogInResult& result)
        {
            EXPECT_EQ(std::this_thread::get_id(), mThread);
            mResults.push_back(
                who + ": " +
                (result.mLevel != eAccessNone ? std::to_string(result.mLevel) : result.mMessage));
        };
    }
    // The loop of a host.
    void Await(CLogInQueue& queue, std::size_t count)
    {
        while (mResults.size() < count)
        {
            pollfd wanted{queue.GetDescriptor(), POLLIN, 0};
            ASSERT_EQ(::poll(&wanted, 1, 20000), 1);
            queue.Update();
        }
    }

    CTemporaryFolder mFolder;
    CRecordingLog mLog;
    const std::string mPath = mFolder.File("accounts.json");
    CSecurityManager mManager{mPath, mLog, kCheap};
    const std::string mPassword = mManager.GetGeneratedPassword();
    const std::thread::id mThread = std::this_thread::get_id();
    std::vector<std::string> mResults;
};

TEST_F(CLogInQueueTest, EveryTryHasItsResultOnTheLoopsThread)
{
    CLogInQueue queue(mManager, kNone);
    queue.LogIn("admin", mPassword, "a", Note("right"));
    queue.LogIn("admin", "wrong", "b", Note("wrong"));
    EXPECT_TRUE(mResults.empty());
    Await(queue, 2);
    const auto owner = std::make_shared<int>();
    queue.ChangePassword("admin", mPassword, "long enough", "a", owner,
                         [&](const SPasswordResult& result)
                         { mResults.push_back("changed: " + std::to_string(result.mError)); });
    Await(queue, 3);
    EXPECT_EQ(mResults,
              (std::vector<std::string>{"right: 6", "wrong: Invalid user name or password", "changed: 0"}));
}

TEST_F(CLogInQueueTest, WhoeverHasToWaitDelaysNobodyElseAndTakesAFewPlacesOnly)
{
    CLogInQueue queue(mManager, kEndless);
    queue.LogIn("admin", "wrong", "guesser", Note("0"));
    Await(queue, 1);
    auto owner = std::make_shared<int>();
    for (std::size_t i = 0; i < CLogInQueue::kMaxWaitingOfPeer; ++i)
        queue.LogIn("admin", "wrong", "guesser", owner, Note("waits"));
    queue.LogIn("admin", mPassword, "guesser", Note("too many"));
    queue.LogIn("admin", mPassword, "somebody", Note("somebody"));
    Await(queue, 3);
    EXPECT_EQ(mResults[1], "too many: Too many log-ins are waiting; try again later");
    EXPECT_EQ(mResults[2], "somebody: 6");
    owner.reset(); // they hang up
    queue.LogIn("admin", mPassword, "guesser", Note("last"));
    queue.Stop();
    ASSERT_EQ(mResults.size(), 4u) << "nobody is told who has gone";
    EXPECT_EQ(mResults[3], "last: The projector is being stopped");
    queue.LogIn("admin", mPassword, "x", Note("after"));
    queue.Update();
    EXPECT_EQ(mResults.back(), "after: The projector is being stopped");
}

TEST_F(CLogInQueueTest, AProblemIsToldWhenItComesAndWhenItGoes)
{
    CLogInQueue queue(mManager, kNone);
    std::vector<bool> raised;
    queue.SetProblemObserver([&](const std::string& problem) { raised.push_back(!problem.empty()); });
    std::ofstream(mPath) << "{";
    queue.LogIn("admin", mPassword, "a", Note("1"));
    Await(queue, 1);
    queue.LogIn("admin", mPassword, "a", Note("2"));
    Await(queue, 2);
    EXPECT_EQ(raised, std::vector<bool>{true});
    const CAccounts accounts;
    std::ofstream(mPath) << accounts.Print();
    queue.LogIn("admin", mPassword, "a", Note("3"));
    Await(queue, 3);
    EXPECT_EQ(raised, (std::vector<bool>{true, false}));
}
} // namespace
