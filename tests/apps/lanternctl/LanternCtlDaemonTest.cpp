// Both programs together.
#include "software/utility/CAtomicFile.h"
#include "tests/apps/lanternctl/CCtlProcess.h"
#include "tests/support/CDaemonProcess.h"
#include "tests/support/CTemporaryFolder.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{
using testing::HasSubstr;

class LanternCtlDaemon : public testing::Test
{
protected:
    std::vector<std::string> Here(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), {"--port", std::to_string(mDaemon.GetPort())});
        return arguments;
    }

    std::string Run(const std::vector<std::string>& arguments, int exitCode = 0,
                    const std::vector<std::string>& environment = {}) const
    {
        SCOPED_TRACE(testing::PrintToString(arguments));
        CCtlProcess process(Here(arguments), environment);
        EXPECT_EQ(process.Wait(), exitCode);
        return process.GetOutput() + process.GetErrors();
    }

    /// The password that the daemon printed when it made its first account.
    std::string GetPassword() const
    {
        const std::string mark = "account \"admin\" created, password: ";
        const std::string output = mDaemon.GetOutput();
        const std::size_t at = output.find(mark);
        return at == std::string::npos ? "" : output.substr(at + mark.size(), 19);
    }

    // A serial line, and the installed configuration with menus that lead in circles, nowhere and to nothing.
    std::vector<std::string> Config() const
    {
        const std::string config = mFolder.File("config");
        std::filesystem::copy(LANTERN_TEST_CONFIG_DIR, config);
        CAtomicFile::Write(config + "/menu.json", R"({
            "MAIN": {"items": ["MMM+IMAG", "LUM", "MMM+SYST", "MMM+LENS", "MMM+FAVR", "MMM+IMAG"]},
            "IMAG": {"items": ["SRC", "MMM+MAIN", "LHM", "GPW", "XYZ"]},
            "SYST": {"items": ["MMM+IMAG"]}, "LENS": {}, "FAVR": {}})");
        return {"--config-dir", config, "--serial", "pty"};
    }

    CTemporaryFolder mFolder;
    CDaemonProcess mDaemon{mFolder.File("state"), Config()};
};
} // namespace

TEST_F(LanternCtlDaemon, DrivesTheSimulatedProjector)
{
    EXPECT_EQ(Run({"set", "LUM", "73.5"}), "73.5\n");
    EXPECT_EQ(Run({"set", "SRC", "HDMI 2"}), "HDMI 2\n");
    EXPECT_EQ(Run({"set", "BRI", "-20"}), "-20\n");
    EXPECT_EQ(Run({"set", "kst+tlpx", "12"}), "12\n");
    EXPECT_EQ(Run({"get", "LUM", "SRC", "BRI", "KST+TLPX"}),
              "LUM       73.5 %\nSRC       HDMI 2\nBRI       -20\nKST+TLPX  12 pixel\n");
    EXPECT_EQ(Run({"set", "SRC", "SDI"}, 1), "lanternctl: SRC: Disabled Control (105)\n");
    EXPECT_EQ(Run({"get", "GPW"}, 1), "lanternctl: GPW: Invalid Access Group (117)\n");
    EXPECT_EQ(Run({"set", "DAT", "2026-02-30"}, 1), "lanternctl: DAT: Failed to set Hardware (112)\n");
    EXPECT_THAT(Run({"get", "TP1", "FN1"}), testing::ContainsRegex("TP1  [0-9.]+ °C\nFN1  [0-9]+ rpm\n"));
    EXPECT_THAT(Run({"jobs"}), testing::ContainsRegex("JOB +PERIOD +RUNS +LATE mean +max +TOOK mean +max\n"
                                                      "simulator +20 ms +[0-9]+ +[0-9.]+ ms"));
    EXPECT_THAT(Run({"--json", "jobs"}), HasSubstr("\"name\":\"thermal\",\"periodUs\":1000000,"));
    EXPECT_EQ(Run({"set", "RST"}), "");
    EXPECT_EQ(Run({"get", "LUM"}), "100.0\n");
}

TEST_F(LanternCtlDaemon, OneWatchesWhileAnotherSets)
{
    CCtlProcess watch(Here({"watch", "LUM", "NME"}));
    ASSERT_TRUE(watch.WaitForOutput("NME \n"));
    Run({"set", "NME", "Bühne links"});
    EXPECT_TRUE(watch.WaitForOutput("NME Bühne links\n"));
    mDaemon.Stop();
    EXPECT_EQ(watch.Wait(), 3);
    EXPECT_THAT(watch.GetErrors(), HasSubstr(" lost\n"));
}

TEST_F(LanternCtlDaemon, MenusAreATreeThatEnds)
{
    EXPECT_EQ(Run({"menu"}), "Main menu                  MMM+MAIN\n"
                             "├─ Image                   MMM+IMAG\n"
                             "│  ├─ Source               SRC       HDMI 1\n"
                             "│  ├─ Main menu            MMM+MAIN  (see there)\n"
                             "│  ├─ Home the lens        LHM\n"
                             "│  ├─ Generated password   GPW       (protected)\n"
                             "│  └─ Not available (XYZ)\n"
                             "├─ Light output            LUM       100.0 %\n"
                             "├─ System                  MMM+SYST\n"
                             "│  └─ Image                MMM+IMAG  (see there)\n"
                             "├─ Lens                    MMM+LENS\n"
                             "│  └─ (empty)\n"
                             "├─ Favourites              MMM+FAVR\n"
                             "│  └─ (empty)\n"
                             "└─ Image                   MMM+IMAG  (see there)\n");
    EXPECT_EQ(Run({"menu", "ABCD"}, 1), "lanternctl: MMM+ABCD: Menu ID not found (101)\n");
    EXPECT_EQ(Run({"menu", "LUM+X"}, 1), "lanternctl: LUM+X: Expected MMM+ABCD request (3)\n");
    EXPECT_THAT(Run({"menu", "MMM+SYST", "--json"}),
                testing::StartsWith(R"({"access":2,"code":"MMM+SYST",)"));
    EXPECT_EQ(Run({"list", "imag", "--format", "codes"}), "SRC\nMMM+MAIN\nLHM\nGPW\n");
    EXPECT_EQ(Run({"list", "MMM+I", "--format", "codes"}, 1), "lanternctl: MMM+I: Menu ID not found (101)\n");
    EXPECT_EQ(Run({"list", "MMM+LENS", "--format", "codes"}), "");
}

TEST_F(LanternCtlDaemon, FavoritesAreKeptInTheirOrder)
{
    EXPECT_EQ(Run({"fav", "list"}), "CODE  NAME  VALUE\n");
    EXPECT_EQ(Run({"fav", "list", "--json"}), "[]\n");
    EXPECT_EQ(Run({"fav", "add", "lum", "SVM", "LUM"}), "");
    EXPECT_EQ(Run({"fav", "list"}), "CODE  NAME          VALUE\n"
                                    "LUM   Light output  100.0 %\n"
                                    "SVM   Service mode  (protected)\n"
                                    "LUM   Light output  100.0 %\n");
    EXPECT_EQ(Run({"fav", "add", "BRI", "XYZ"}, 1), "lanternctl: XYZ: Control Not Found (101)\n");
    EXPECT_EQ(Run({"fav", "remove", "LUM"}), "");
    EXPECT_EQ(Run({"menu", "FAVR"}), "Favourites       MMM+FAVR\n"
                                     "└─ Service mode  SVM       (protected)\n");
    EXPECT_EQ(Run({"fav", "clear"}), "");
    EXPECT_EQ(Run({"menu", "FAVR"}), "(empty)\n");
}

TEST_F(LanternCtlDaemon, LogsInOverEveryWayThatHasLevels)
{
    const std::vector<std::string> right{"LANTERN_PASSWORD=" + GetPassword()};
    const std::vector<std::string> wrong{"LANTERN_PASSWORD=wrong"};
    EXPECT_EQ(Run({"get", "SVM"}, 1), "lanternctl: SVM: Invalid Access Group (117)\n");
    EXPECT_EQ(Run({"--user", "admin", "get", "SVM"}, 0, right), "off\n");
    EXPECT_EQ(Run({"get", "GPW", "--user", "admin"}, 0, right), GetPassword() + "\n");
    EXPECT_EQ(Run({"--user", "admin", "call", "control:get", R"(["SVO"])"}, 0, right),
              "{\n  \"value\": 0\n}\n");
    EXPECT_EQ(Run({"--user", "admin", "get", "SVM"}, 1, wrong),
              "lanternctl: log-in of admin: Invalid user name or password (117)\n");

    const auto runOver = [&](const std::vector<std::string>& arguments, int exitCode,
                             const std::vector<std::string>& environment)
    {
        CCtlProcess process(arguments, environment);
        EXPECT_EQ(process.Wait(), exitCode);
        return process.GetOutput() + process.GetErrors();
    };
    const std::string line = mDaemon.GetReady("serial");
    EXPECT_EQ(runOver({"--serial", line, "--user", "admin", "get", "SVM"}, 1, wrong),
              "lanternctl: log-in of admin: Invalid user name or password (117)\n");
    EXPECT_EQ(runOver({"--serial", line, "--user", "admin", "get", "SVM"}, 0, right), "0\n");
    EXPECT_EQ(runOver({"--ipc", mDaemon.GetRunDir(), "--user", "admin", "get", "SVM"}, 2, right),
              "lanternctl: nobody logs in over the local IPC, where you are the controller itself\n");
    EXPECT_EQ(runOver({"--serial", line, "--user", "admin", "send", "(LUM?)"}, 2, right),
              "lanternctl: send sends one message only; to log in, send '(UID\"NAME\" \"PASSWORD\")'\n");
}

TEST_F(LanternCtlDaemon, APasswordIsTypedUnseenAndTheTerminalIsAsBefore)
{
    const std::string first = GetPassword();
    const std::vector<std::string> logIn{
        "--port", std::to_string(mDaemon.GetPort()), "--user", "admin", "get", "SVM"};
    const std::vector<std::string> change{"account", "passwd", "admin", "--state-dir", mFolder.File("state")};
    const std::string interrupt(1, '\x03');
    const std::string quit(1, '\x1c');
    constexpr char kNone[] = "lanternctl: no password was given\r\n";
    struct SDialogue
    {
        const std::vector<std::string>& mArguments;
        std::vector<std::pair<std::string, std::string>> mLines; // a question, what is typed
        int mExitCode;
        std::string mLast;
    };
    const SDialogue dialogues[] = {
        {logIn, {{"Password of admin: ", interrupt}}, 2, kNone}, // without the return key
        {logIn, {{"Password of admin: ", "half of it" + quit}}, 2, kNone},
        {logIn, {{"Password of admin: ", "\x04"}}, 2, kNone}, // the end of the input
        {logIn, {{"Password of admin: ", first + "\n"}}, 0, "\r\noff\r\n"},
        {change,
         {{"New password of admin: ", "ten dark lenses\n"}, {"Again: ", "two dark lenses\n"}},
         2,
         "\r\nlanternctl: the two passwords differ\r\n"},
        {change,
         {{"New password of admin: ", "two dark lenses\n"}, {"Again: ", "two dark lenses\n"}},
         0,
         "\r\n"},
        {logIn, {{"Password of admin: ", "two dark lenses\n"}}, 0, "\r\noff\r\n"},
    };
    for (const SDialogue& dialogue : dialogues)
    {
        SCOPED_TRACE(testing::PrintToString(dialogue.mLines));
        CCtlProcess process(dialogue.mArguments, {"NO_COLOR=1"}, CCtlProcess::EOutput::Dialogue);
        std::string seen;
        for (const auto& [question, typed] : dialogue.mLines)
        {
            seen += (seen.empty() ? "" : "\r\n") + question;
            ASSERT_TRUE(process.WaitForOutput(question));
            EXPECT_EQ(process.GetTerminalMode() & (ECHO | ISIG), 0u);
            process.Type(typed);
        }
        EXPECT_EQ(process.Wait(), dialogue.mExitCode);
        EXPECT_EQ(process.GetOutput(), seen + dialogue.mLast);
        EXPECT_EQ(process.GetTerminalMode() & (ECHO | ISIG), ECHO | ISIG);
    }
}

TEST_F(LanternCtlDaemon, AccountsAreChangedWhileTheDaemonRuns)
{
    const std::string state = mFolder.File("state");
    // The password comes from standard input, as "printf '%s\n' PASSWORD | lanternctl account ..." has
    // it.
    const auto account = [&](const std::string& words, int exitCode)
    {
        const std::string command =
            "printf '%s\\n' \"$LANTERN_TEST_INPUT\" | \"$0\" account " + words + " --state-dir " + state;
        CCtlProcess process({"-c", command, LANTERN_TEST_CTL}, {"LANTERN_TEST_INPUT=a guest's own"},
                            CCtlProcess::EOutput::Pipe, "/bin/sh");
        EXPECT_EQ(process.Wait(), exitCode) << words;
        return process.GetOutput() + process.GetErrors();
    };
    const std::vector<std::string> guest{"LANTERN_PASSWORD=a guest's own"};
    EXPECT_EQ(account("list", 0), "admin  6\n");
    EXPECT_EQ(account("add guest --level 2", 0), "");
    EXPECT_EQ(Run({"--user", "guest", "get", "SVM"}, 0, guest), "off\n");
    EXPECT_EQ(account("list --json", 0),
              "{\"level\":6,\"name\":\"admin\"}\n{\"level\":2,\"name\":\"guest\"}\n");
    EXPECT_EQ(account("passwd admin", 0), "");
    EXPECT_EQ(Run({"--user", "admin", "get", "SVM"}, 0, guest), "off\n");
    EXPECT_EQ(account("remove guest", 0), "");
    EXPECT_EQ(Run({"--user", "guest", "get", "SVM"}, 1, guest),
              "lanternctl: log-in of guest: Invalid user name or password (117)\n");

    EXPECT_EQ(account("remove admin", 1),
              "lanternctl: \"admin\" is the last account of level 6; --force removes it all the same\n");
    EXPECT_EQ(account("remove nobody", 1), "lanternctl: there is no account \"nobody\"\n");
    EXPECT_EQ(account("add admin --level 1", 1), "lanternctl: an account \"admin\" exists already\n");
    EXPECT_THAT(account("add other --level 3", 2), HasSubstr("--level"));
    EXPECT_THAT(account("add other", 2), HasSubstr("account add needs --level"));
    EXPECT_THAT(account("passwd", 2), HasSubstr("account passwd needs a name"));
    EXPECT_EQ(account("remove admin --force", 0), "");
    EXPECT_EQ(account("list", 0), "");
}
