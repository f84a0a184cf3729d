// Log-ins over real connections, with the queue and its thread behind them.
#include "software/bp/c4j/CC4jSession.h"

#include "software/bp/security/CLogInQueue.h"
#include "software/bp/security/CSecurityManager.h"
#include "tests/software/bp/c4j/CC4jRig.h"

namespace
{
constexpr STryDelays kNoDelays{std::chrono::milliseconds(0), 1000, std::chrono::milliseconds(0)};
constexpr char kToken[] = "0123456789abcdef";

class CC4jSessionTest : public CC4jRig
{
protected:
    CC4jSessionTest()
    {
        AddControls();
        AddText(eDisplayText, "GPW", 0, 64, mPassword);
        mServer.AddWakeDescriptor(mLogIns.GetDescriptor());
    }
    ~CC4jSessionTest() override { mServer.RemoveWakeDescriptor(mLogIns.GetDescriptor()); }

    /// What arrives in answer to some requests, in order.
    std::vector<std::string> Ask(CC4jRigClient& client, const std::vector<std::string>& requests)
    {
        std::string all;
        for (const std::string& request : requests)
            all += all.empty() ? request : '\0' + request; // one segment
        client.Send(all);
        std::vector<std::string> received;
        for (int i = 0; received.size() < requests.size() && i < 2000; ++i)
        {
            mLogIns.Update();
            for (std::string& message : client.Receive(1))
                received.push_back(std::move(message));
        }
        return received;
    }
    std::string Ask(CC4jRigClient& client, const std::string& method, const std::string& params)
    {
        return Ask(client, {Request(method, params)}).at(0);
    }
    static std::string LogInParams(const std::string& user, const std::string& password)
    {
        return R"({"user":")" + user + R"(","pass":")" + password + "\"}";
    }
    static std::string ChangeParams(const std::string& current, const std::string& next)
    {
        return R"({"curr":")" + current + R"(","new":")" + next + "\"}";
    }
    bool HasLogged(const std::string& line) { return mLog.Count(line) > 0; }

    CSecurityManager mSecurity{mFolder.File("accounts.json"), mLog, {16, 1, 1}};
    const std::string mPassword = mSecurity.GetGeneratedPassword();
    CLogInQueue mLogIns{mSecurity, kNoDelays};
    CC4jSession mSession{mServer, mLogIns, mSecurity, kToken};
    const std::string mWrong = Error(117, "Invalid user name or password");
    const std::string mForbidden = Error(117, "Invalid Access Group");
    const std::string mServiceOffset = Result(R"({"value":7})");
};

TEST_F(CC4jSessionTest, ALogInRaisesTheLevelOfItsConnectionAlone)
{
    CC4jRigClient client(mServer);
    CC4jRigClient other(mServer);
    EXPECT_EQ(Ask(client, "session:version", ""), Result(R"({"version":1})"));
    const std::string get = Request("control:get", R"(["SVO"])");
    const std::string number = std::to_string(client.GetId());
    // What stands behind the log-in sees its outcome, in the same segment as well as in the same batch.
    EXPECT_EQ(Ask(client, {get, Request("session:connect", LogInParams("admin", "wrong")), get}),
              (std::vector<std::string>{mForbidden, mWrong, mForbidden}));
    EXPECT_TRUE(HasLogged("Client - " + number + " log-in failed: invalid username/password"));
    const std::string logIn = Request("session:connect", LogInParams("admin", mPassword));
    EXPECT_EQ(Ask(client, {"[" + get + "," + logIn + "," + get + "]"}).at(0),
              "[" + mForbidden + "," + Result("true") + "," + mServiceOffset + "]");
    EXPECT_TRUE(HasLogged("Recv'd 'session:connect' from JSON_TCP." + number));
    EXPECT_TRUE(HasLogged("Completed 'session:connect' from JSON_TCP." + number));
    EXPECT_EQ(mServer.GetClientAccessLevel(static_cast<unsigned>(client.GetId())), eAccessProtected);
    EXPECT_EQ(Ask(other, {get}).at(0), mForbidden);
}

TEST_F(CC4jSessionTest, ParametersThatAreMissingAreRefusedWithoutATry)
{
    CC4jRigClient client(mServer);
    const std::pair<const char*, const char*> cases[] = {
        {"session:connect", ""},
        {"session:connect", R"({"user":"admin"})"},
        {"session:connect", R"({"user":"","pass":"x"})"},
        {"session:connect", R"({"user":"admin","pass":""})"},
        {"session:connect", R"({"user":"admin","pass":7})"},
        {"session:connect", R"(["admin","x"])"},
        {"session:changePassword", R"({"curr":"x"})"},
        {"session:changePassword", R"({"curr":"x","new":""})"},
        {"session:changePassword", ""},
    };
    for (const auto& [method, params] : cases)
        EXPECT_EQ(Ask(client, method, params), Error(3, "Invalid Parameter")) << method << params;
    EXPECT_TRUE(
        HasLogged("Client - " + std::to_string(client.GetId()) + " log-in failed: invalid parameter"));
    EXPECT_TRUE(HasLogged("User account password change failed: invalid parameter"));
    EXPECT_EQ(mServer.GetClientAccessLevel(static_cast<unsigned>(client.GetId())), eAccessUser);
    EXPECT_EQ(Run("session:connect", LogInParams("admin", mPassword)), Error(135, "Request not supported"))
        << "a caller who cannot wait";
}

TEST_F(CC4jSessionTest, ATokenIsNeverAnswered)
{
    const std::pair<const char*, EAccessLevel> cases[] = {
        {R"({"token":"0123456789abcdef"})", eAccessProtected},
        {R"({"token":"0123456789abcdeF"})", eAccessUser},
        {R"({"token":"0123456789abcde"})", eAccessUser},
        {R"({"token":"0123456789abcdef0"})", eAccessUser},
        {R"({"token":""})", eAccessUser},
        {R"({"token":7})", eAccessUser},
        {R"({"user":"admin","pass":"x"})", eAccessUser},
    };
    std::deque<CC4jRigClient> clients;
    for (const auto& [params, level] : cases)
    {
        SCOPED_TRACE(params);
        CC4jRigClient& client = clients.emplace_back(mServer);
        client.Send(Message(R"("jsonrpc":"2.0")", "session:connect", params));
        EXPECT_TRUE(client.Receive(0).empty());
        EXPECT_EQ(mServer.GetClientAccessLevel(static_cast<unsigned>(client.GetId())), level);
        EXPECT_EQ(
            HasLogged("Web Client - " + std::to_string(client.GetId()) + " log-in failed: invalid parameter"),
            level == eAccessUser);
    }
}

TEST_F(CC4jSessionTest, AChangedPasswordHoldsAtOnceAndTheGeneratedOneIsShownNoLonger)
{
    CC4jRigClient client(mServer);
    EXPECT_EQ(Ask(client, "session:connect", LogInParams("admin", mPassword)), Result("true"));
    EXPECT_EQ(Ask(client, "session:changePassword", ChangeParams("wrong", "long enough")), mWrong);
    EXPECT_TRUE(HasLogged("User account password change failed: Invalid user name or password"));
    EXPECT_EQ(Ask(client, "session:changePassword", ChangeParams(mPassword, "short")),
              Error(3, "The new password is not possible: a password has 8 to 256 bytes"));
    EXPECT_EQ(Control("GPW").GetText(), mPassword);
    EXPECT_EQ(Ask(client, "session:changePassword", ChangeParams(mPassword, "long enough")), Result("true"));
    EXPECT_TRUE(HasLogged("Changed user account password"));
    EXPECT_EQ(Control("GPW").GetText(), "");
    EXPECT_EQ(Ask(client, "session:connect", LogInParams("admin", mPassword)), mWrong);
    EXPECT_EQ(Ask(client, "session:connect", LogInParams("admin", "long enough")), Result("true"));

    mControls.pop_back(); // GPW
    EXPECT_EQ(Ask(client, "session:changePassword", ChangeParams("long enough", "a third one")),
              Result("true"));
    EXPECT_TRUE(HasLogged("Generated account password change failed: projcon not found"));
}

TEST_F(CC4jSessionTest, ThePasswordOfNobodyIsNotChanged)
{
    const std::string change = Request("session:changePassword", ChangeParams(mPassword, "long enough"));
    const std::string nobody = Error(117, "Nobody is logged in by name");
    CC4jRigClient client(mServer);
    CC4jRigClient other(mServer);
    EXPECT_EQ(Ask(other, "session:connect", LogInParams("admin", mPassword)), Result("true"));
    EXPECT_EQ(Ask(client, {change}).at(0), nobody) << "another one's log-in is not theirs";
    EXPECT_EQ(Ask(client, {Request("session:connect", LogInParams("admin", "wrong")), change}),
              (std::vector<std::string>{mWrong, nobody}));
    client.Send(Message(R"("jsonrpc":"2.0")", "session:connect", R"({"token":"0123456789abcdef"})"));
    EXPECT_EQ(Ask(client, {change}).at(0), nobody) << "a token is no account";
    EXPECT_EQ(Ask(client, "session:changePassword", R"({"curr":"x"})"), Error(3, "Invalid Parameter"));
    EXPECT_TRUE(HasLogged("User account password change failed: Nobody is logged in by name"));
    EXPECT_EQ(Ask(client, "session:connect", LogInParams("admin", mPassword)), Result("true"));
}

TEST_F(CC4jSessionTest, WhoeverLoggedInChangesTheirOwnPassword)
{
    const CAccountFile file(mFolder.File("accounts.json"));
    file.Change(
        [](CAccounts& accounts) {
            accounts.Add({"guest", eAccessOperator, CPasswordHash::Make("guest's own", {16, 1, 1})});
        });
    CC4jRigClient client(mServer);
    EXPECT_EQ(Ask(client, "session:connect", LogInParams("guest", "guest's own")), Result("true"));
    EXPECT_EQ(Ask(client, "session:changePassword", ChangeParams(mPassword, "long enough")), mWrong);
    EXPECT_EQ(Ask(client, "session:changePassword", ChangeParams("guest's own", "long enough")),
              Result("true"));
    EXPECT_EQ(Control("GPW").GetText(), mPassword) << "that of admin is still in force";
}

TEST_F(CC4jSessionTest, AClientMayHangUpInTheMiddleOfItsLogIn)
{
    for (int i = 0; i < 20; ++i)
    {
        {
            CC4jRigClient client(mServer);
            client.Send(Request("session:connect", LogInParams("admin", i % 2 == 0 ? mPassword : "wrong")));
            for (int pass = 0; pass < i % 4; ++pass)
                mServer.ProcessMessages();
        }
        while (mServer.GetClientCount() > 0)
            mServer.ProcessMessages();
    }
    CC4jRigClient client(mServer);
    EXPECT_EQ(Ask(client, "session:connect", LogInParams("admin", mPassword)), Result("true"));
    EXPECT_EQ(mServer.GetPendingBytes(), 0u);
}
} // namespace
