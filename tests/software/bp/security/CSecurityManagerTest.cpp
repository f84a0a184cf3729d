// The accounts in use, in real files.
#include "software/bp/security/CSecurityManager.h"

#include "tests/support/CRecordingLog.h"
#include "tests/support/CTemporaryFolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include <sys/stat.h>
#include <unistd.h>

namespace
{
constexpr SScryptCost kCheap{16, 1, 1};

class CSecurityManagerTest : public testing::Test
{
protected:
    // The level, or the message.
    static std::string LogIn(CSecurityManager& manager, const std::string& user, const std::string& password)
    {
        EAccessLevel level = eAccessNone;
        std::string message;
        const bool isGood = manager.Login(user, password, level, message);
        EXPECT_EQ(isGood, level != eAccessNone);
        return isGood ? std::to_string(static_cast<int>(level)) : message;
    }
    void Write(const std::string& text) { std::ofstream(mPath) << text; }
    std::string ReadBack()
    {
        std::ostringstream text;
        text << std::ifstream(mPath).rdbuf();
        return text.str();
    }

    CTemporaryFolder mFolder;
    const std::string mPath = mFolder.File("accounts.json");
    CRecordingLog mLog;
    const std::string mWrong = "Invalid user name or password";
    const std::string mNoAccounts = "The accounts can not be read, so nobody can log in";
};

TEST_F(CSecurityManagerTest, TheFirstStartMakesAnAccountAndOnlyThatOneKnowsItsPassword)
{
    std::string password;
    {
        CSecurityManager manager(mPath, mLog, kCheap);
        password = manager.GetGeneratedPassword();
        EXPECT_EQ(password.size(), 19u);
        EXPECT_EQ(LogIn(manager, "admin", password), "6");
    }
    struct stat status = {};
    ASSERT_EQ(::stat(mPath.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    EXPECT_EQ(ReadBack().find(password), std::string::npos);
    CSecurityManager again(mPath, mLog, kCheap);
    EXPECT_EQ(again.GetGeneratedPassword(), "");
    EXPECT_EQ(LogIn(again, "admin", password), "6");
}

TEST_F(CSecurityManagerTest, WrongNamesAndPasswordsOfAnyKindAreRefused)
{
    CSecurityManager manager(mPath, mLog, kCheap);
    const std::string right = manager.GetGeneratedPassword();
    const std::pair<std::string, std::string> cases[] = {
        {"admin", right + "x"},
        {"admin", right.substr(1)},
        {"admin", ""},
        {"admin", std::string(1000000, 'x')},
        {"admin", std::string("\0", 1) + right},
        {"Admin", right},
        {"", right},
        {"nobody", right},
        {std::string(1000000, 'a'), right},
        {"admin\n", right},
        {"\xFF", "\xFF\xFE"},
    };
    for (const auto& [user, password] : cases)
        EXPECT_EQ(LogIn(manager, user, password), mWrong) << user.substr(0, 20);
}

TEST_F(CSecurityManagerTest, APasswordIsChangedByWhoeverKnowsIt)
{
    CSecurityManager manager(mPath, mLog, kCheap);
    const std::string first = manager.GetGeneratedPassword();
    std::string message;
    EXPECT_EQ(manager.ChangePassword("wrong", "long enough", message), eErrorAccessGroup);
    EXPECT_EQ(message, mWrong);
    EXPECT_EQ(manager.ChangePassword("nobody", first, "long enough", message), eErrorAccessGroup);
    EXPECT_EQ(manager.ChangePassword(first, "short", message), eErrorInvalidParameter);
    EXPECT_EQ(message, "The new password is not possible: a password has 8 to 256 bytes");
    EXPECT_EQ(manager.ChangePassword(first, std::string(257, 'x'), message), eErrorInvalidParameter);
    EXPECT_EQ(manager.GetGeneratedPassword(), first);

    EXPECT_EQ(manager.ChangePassword(first, "long enough", message), eErrorNone);
    EXPECT_EQ(manager.GetGeneratedPassword(), "") << "it is in force no longer";
    EXPECT_EQ(LogIn(manager, "admin", first), mWrong);
    EXPECT_EQ(LogIn(manager, "admin", "long enough"), "6");

    if (::geteuid() == 0)
        return; // whom a folder without rights does not stop
    ::chmod(mFolder.GetPath().c_str(), 0500);
    EXPECT_EQ(manager.ChangePassword("long enough", "another one", message), eErrorCommandNotExecuted);
    ::chmod(mFolder.GetPath().c_str(), 0700);
    EXPECT_EQ(LogIn(manager, "admin", "long enough"), "6");
}

TEST_F(CSecurityManagerTest, TheFileIsReadAgainWhenItChangedAndLeftAloneWhenItIsDamaged)
{
    CSecurityManager manager(mPath, mLog, kCheap);
    const std::string password = manager.GetGeneratedPassword();
    const std::string good = ReadBack();
    const CAccountFile file(mPath);
    file.Change(
        [&](CAccounts& accounts) {
            accounts.Add({"guest", eAccessOperator, CPasswordHash::Make("guest's own", {64, 2, 2})});
        });
    EXPECT_EQ(LogIn(manager, "guest", "guest's own"), "2");

    Write("{broken");
    EXPECT_EQ(LogIn(manager, "admin", password), mNoAccounts);
    EXPECT_NE(manager.GetProblem(), "");
    EXPECT_EQ(LogIn(manager, "admin", password), mNoAccounts) << "again";
    std::string message;
    EXPECT_EQ(manager.ChangePassword(password, "long enough", message), eErrorAccessGroup);
    CSecurityManager started(mPath, mLog, kCheap);
    EXPECT_EQ(started.GetGeneratedPassword(), "");
    EXPECT_EQ(LogIn(started, "admin", password), mNoAccounts);
    EXPECT_EQ(ReadBack(), "{broken");

    ::unlink(mPath.c_str());
    EXPECT_EQ(LogIn(manager, "admin", password), mNoAccounts);
    Write(good);
    EXPECT_EQ(LogIn(manager, "admin", password), "6");
    EXPECT_EQ(manager.GetProblem(), "");
    EXPECT_EQ(LogIn(manager, "guest", "guest's own"), mWrong) << "no longer in the file";
}
} // namespace
