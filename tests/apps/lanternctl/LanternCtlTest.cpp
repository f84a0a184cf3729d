#include "tests/apps/lanternctl/CCtlProcess.h"
#include "tests/apps/lanternctl/CTestPeer.h"
#include "tests/apps/lanternctl/CTestProjector.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>

namespace
{
using testing::ContainsRegex;
using testing::HasSubstr;

struct SRun
{
    std::vector<std::string> mArguments;
    int mExitCode;
    std::string mOutput;
    std::string mErrors;
};

class LanternCtl : public testing::Test
{
protected:
    std::vector<std::string> Here(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), {"--port", mProjector.GetPort()});
        return arguments;
    }

    void Expect(const SRun& expected) const
    {
        SCOPED_TRACE(testing::PrintToString(expected.mArguments));
        CCtlProcess process(Here(expected.mArguments));
        EXPECT_EQ(process.Wait(), expected.mExitCode);
        EXPECT_EQ(process.GetOutput(), expected.mOutput);
        EXPECT_EQ(process.GetErrors(), expected.mErrors);
    }

    CTestProjector mProjector;
};
} // namespace

TEST_F(LanternCtl, SetsAndGetsInTheUnitsOfPeople)
{
    const SRun runs[] = {
        {{"set", "LUM", "73.5"}, 0, "73.5\n", ""},
        {{"get", "LUM"}, 0, "73.5\n", ""},
        {{"get", "lum", "--json"}, 0, "{\"code\":\"LUM\",\"value\":735}\n", ""}, // behind the sub-command too
        {{"--json", "set", "LUM", "73.4 %"}, 0, "{\"code\":\"LUM\",\"value\":734}\n", ""},
        {{"set", "LUM", "173.5"}, 0, "100.0\n", "lanternctl: LUM: the projector made it 100.0 %\n"},
        {{"set", "BRI", "-20"}, 0, "-20\n", ""},
        {{"set", "SRC", "hdmi 2"}, 0, "HDMI 2\n", ""},
        {{"set", "PWR", "on"}, 0, "on\n", ""},
        {{"set", "NME", "list"}, 0, "list\n", ""}, // the name of a sub-command is a text like any other
        {{"set", "NME", "--", "-x"}, 0, "-x\n", ""},
        {{"set", "NME", ""}, 0, "\n", ""},
        {{"set", "NME", "{}"}, 0, "{}\n", ""},
        {{"set", "NME", "größer"}, 0, "größer\n", ""},
        {{"set", "LHM"}, 0, "", ""},
        {{"get", "LUM", "NME", "LHM"}, 0, "LUM  100.0 %\nNME  größer\nLHM  -\n", ""},
    };
    for (const SRun& run : runs)
        Expect(run);
}

TEST_F(LanternCtl, SaysWhyItDidNot)
{
    const SRun runs[] = {
        {{"get", "XYZ"}, 1, "", "lanternctl: XYZ: Control Not Found (101)\n"},
        {{"set", "XYZ"}, 1, "", "lanternctl: XYZ: Control Not Found (101)\n"},
        {{"set", "XYZ", "5"}, 1, "", "lanternctl: XYZ: Control Not Found (101)\n"},
        {{"info", "XYZ"}, 1, "", "lanternctl: XYZ: Control Not Found (101)\n"},
        {{"watch", "LUM", "XYZ"}, 1, "", "lanternctl: XYZ: Control Not Found (101)\n"},
        {{"get", "GPW"}, 1, "", "lanternctl: GPW: Invalid Access Group (117)\n"},
        {{"watch", "GPW"}, 1, "", "lanternctl: GPW: Invalid Access Group (117)\n"},
        {{"set", "SRC", "SDI"}, 1, "", "lanternctl: SRC: Disabled Control (105)\n"},
        {{"set", "SRC", "9"}, 1, "", "lanternctl: SRC: Invalid Value (104)\n"},
        {{"set", "FN1", "5"}, 1, "", "lanternctl: FN1: This control is read-only (105)\n"},
        {{"call", "control:fly"}, 1, "", "lanternctl: control:fly: Method not found (-32601)\n"},
        {{"get", "PWR", "XYZ", "BRI"}, 1, "PWR  off\nBRI  0\n", "lanternctl: XYZ: Control Not Found (101)\n"},
        {{"set", "LUM", "73.55"},
         2,
         "",
         "lanternctl: LUM: \"73.55\" has more decimals than the 1 that this control keeps\n"},
        {{"set", "SRC", "HDMI 9"},
         2,
         "",
         "lanternctl: SRC: no such choice \"HDMI 9\"; one of: \"HDMI 1\", \"HDMI 2\", \"SDI\" (disabled)\n"},
        {{"set", "LUM"}, 2, "", "lanternctl: LUM: a value is missing\n"},
        {{"set", "NME", "\xff"}, 2, "", "lanternctl: argument 5 is not valid UTF-8\n"},
        {{"call", "get", "[\"LUM\"] x"}, 2, "", ""},
        {{"fav", "add"}, 2, "", "lanternctl: fav add: a code is missing\n"},
        {{"fav", "clear", "LUM"}, 2, "", "lanternctl: fav clear takes no code\n"},
        {{"fav", "add", "LUM", "XYZ"}, 1, "", "lanternctl: XYZ: Control Not Found (101)\n"},
        {{"call", "get", "5"}, 2, "", "lanternctl: the parameters must be a JSON array or object\n"},
        {{"fly"},
         2,
         "",
         "lanternctl: no such command \"fly\"; one of: get, set, info, list, watch, status, alarms, menu, "
         "fav, modules, jobs, call, send, cep, hdf, account, "
         "completion "
         "(see lanternctl --help)\n"},
        {{"set", "NME", "-x"},
         2,
         "",
         "lanternctl: The following argument was not expected: -x; a value that starts with \"-\" goes "
         "behind "
         "\"--\" (see lanternctl --help)\n"},
    };
    for (const SRun& run : runs)
    {
        SCOPED_TRACE(testing::PrintToString(run.mArguments));
        CCtlProcess process(Here(run.mArguments));
        EXPECT_EQ(process.Wait(), run.mExitCode);
        EXPECT_EQ(process.GetOutput(), run.mOutput);
        if (run.mErrors.empty()) // the JSON library's own words
            EXPECT_THAT(process.GetErrors(), HasSubstr("lanternctl: the parameters are not JSON: "));
        else
            EXPECT_EQ(process.GetErrors(), run.mErrors);
    }
}

TEST_F(LanternCtl, DescribesControls)
{
    Expect({{"info", "LUM"},
            0,
            "LUM  Light output\n"
            "Share of the full light.\n"
            "  value       100.0 %\n"
            "  type        number with a soft range and a soft value (204)\n"
            "  range       0.0 to 100.0 %\n"
            "  soft range  0.0 to 100.0 %\n"
            "  soft value  100.0 %\n"
            "  default     100.0 %\n"
            "  unit        %\n"
            "  access      group 2\n"
            "  saved       yes\n"
            "  read-only   no\n"
            "  enabled     yes\n",
            ""});
    Expect({{"info", "SRC"},
            0,
            "SRC\n"
            "  value      HDMI 1\n"
            "  type       choice (400)\n"
            "  range      3 choices\n"
            "  default    HDMI 1\n"
            "  access     group 2\n"
            "  saved      yes\n"
            "  read-only  no\n"
            "  enabled    yes\n"
            "  choices\n"
            "    0  HDMI 1\n"
            "    1  HDMI 2\n"
            "    3  SDI     disabled\n",
            ""});
    Expect({{"list"},
            0,
            "CODE  NAME          VALUE    RANGE           FLAGS\n"
            "BRI                 0        -100 to 100     saved\n"
            "FN1                 1200     0 to 5000       read-only\n"
            "GPW                 -        0 to 32 bytes   read-only, protected\n"
            "LHM                 -\n"
            "LUM   Light output  100.0 %  0.0 to 100.0 %  saved\n"
            "NME   Größe         Bühne    0 to 8 bytes    saved\n"
            "PWR                 off                      saved\n"
            "SRC                 HDMI 1   3 choices       saved\n",
            ""});
    Expect({{"list", "--format", "codes", "l"}, 0, "LHM\nLUM\n", ""});
    Expect({{"list", "Q"}, 0, "CODE  NAME  VALUE  RANGE  FLAGS\n", ""});
    Expect({{"modules"}, 0, "MODULE   VERSION\ncontrol  1\n", ""});
    Expect({{"call", "control:version", "--json"}, 0, "{\"version\":1}\n", ""});
    Expect({{"call", "get", "[\"LUM\"]"}, 0, "{\n  \"value\": 1000\n}\n", ""});
}

TEST_F(LanternCtl, WatchTellsEveryKindOfChangeAtOnce)
{
    CCtlProcess watch(Here({"watch", "LUM", "SRC", "lum", "--count", "5"}));
    EXPECT_TRUE(watch.WaitForOutput("LUM 100.0 %\n"));
    EXPECT_TRUE(watch.WaitForOutput("SRC HDMI 1\n"));
    Expect({{"set", "LUM", "73.5"}, 0, "73.5\n", ""});
    EXPECT_TRUE(watch.WaitForOutput("LUM 73.5 %\n")); // flushed: the program is still running
    mProjector.Change("LUM", [](CProjCon& c) { c.SetSoftRange(0, false, 800, true); });
    EXPECT_TRUE(watch.WaitForOutput("LUM range 0.0 to 100.0 %; soft range 0.0 to 80.0 %\n"));
    mProjector.Change("LUM", [](CProjCon& c) { c.SetLocked(true); });
    EXPECT_TRUE(watch.WaitForOutput("LUM disabled\n"));
    mProjector.Change("SRC",
                      [](CProjCon& c)
                      {
                          SListEntry entry;
                          entry.mValue = 5;
                          entry.mText = "Network";
                          c.AddList({c.GetList().front(), entry});
                      });
    EXPECT_TRUE(watch.WaitForOutput("SRC choices \"HDMI 1\", \"Network\"\n"));
    mProjector.Change("SRC", [](CProjCon& c) { c.SetValue(5); });
    EXPECT_EQ(watch.Wait(), 0);
    EXPECT_THAT(watch.GetOutput(),
                ContainsRegex("[0-2][0-9]:[0-5][0-9]:[0-5][0-9]\\.[0-9][0-9][0-9] SRC Network\n$"));
    EXPECT_EQ(watch.GetErrors(), "");
}

TEST_F(LanternCtl, WatchEndsWhenItShould)
{
    {
        SCOPED_TRACE("seconds");
        CCtlProcess watch(Here({"watch", "LUM", "--seconds", "0.2"}));
        EXPECT_EQ(watch.Wait(), 0);
    }
    for (const int number : {SIGINT, SIGTERM})
    {
        SCOPED_TRACE(strsignal(number));
        CCtlProcess watch(Here({"--json", "watch", "BRI"}));
        ASSERT_TRUE(watch.WaitForOutput(
            "{\"code\":\"BRI\",\"enabled\":true,\"max\":100,\"min\":-100,\"value\":0}\n"));
        std::this_thread::sleep_for(std::chrono::milliseconds(50)); // it is waiting by now
        watch.Signal(number);
        EXPECT_EQ(watch.Wait(), 0);
    }
    {
        SCOPED_TRACE("the reader has gone");
        CCtlProcess watch(Here({"watch", "LUM"}));
        ASSERT_TRUE(watch.WaitForOutput("LUM 100.0 %\n"));
        watch.CloseOutput();
        EXPECT_EQ(watch.Wait(), 0); // without another change
        EXPECT_EQ(watch.GetErrors(), "");
    }
    {
        SCOPED_TRACE("the projector has gone");
        CCtlProcess watch(Here({"watch", "LUM"}));
        ASSERT_TRUE(watch.WaitForOutput("LUM 100.0 %\n"));
        mProjector.Disconnect();
        EXPECT_EQ(watch.Wait(), 3);
        EXPECT_EQ(watch.GetErrors(),
                  "lanternctl: connection to 127.0.0.1:" + mProjector.GetPort() + " lost\n");
    }
}

TEST_F(LanternCtl, SaysWhenNobodyAnswers)
{
    mProjector.FallSilent();
    Expect({{"--timeout", "100", "get", "LUM"},
            3,
            "",
            "lanternctl: no answer from 127.0.0.1:" + mProjector.GetPort() + " within 100 ms\n"});

    const CDescriptor unused(
        socket(AF_INET, SOCK_STREAM, 0)); // bound and not listening: its port is nobody's
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ASSERT_EQ(bind(unused.Get(), reinterpret_cast<sockaddr*>(&address), size), 0);
    ASSERT_EQ(getsockname(unused.Get(), reinterpret_cast<sockaddr*>(&address), &size), 0);
    const std::string port = std::to_string(ntohs(address.sin_port));
    CCtlProcess refused({"get", "LUM"}, {"LANTERN_PORT=" + port});
    EXPECT_EQ(refused.Wait(), 3);
    EXPECT_EQ(refused.GetErrors(),
              "lanternctl: no connection to 127.0.0.1:" + port + ": Connection refused\n");
}

TEST_F(LanternCtl, PeopleGetUnitsAndNothingThatSteersTheirTerminal)
{
    mProjector.Change("NME", [](CProjCon& c) { c.SetText("a\x1b[2J"); });
    const std::pair<std::vector<std::string>, std::string> rows[] = {
        {{"get", "LUM"}, "100.0 %\r\n"},
        {{"get", "NME"}, "a\\x1b[2J\r\n"},
        {{"list", "B"},
         "\x1b[1mCODE  NAME  VALUE  RANGE        FLAGS\x1b[0m\r\n"
         "BRI         0      -100 to 100  saved\r\n"},
    };
    for (const auto& [arguments, output] : rows)
    {
        SCOPED_TRACE(testing::PrintToString(arguments));
        CCtlProcess process(Here(arguments), {}, CCtlProcess::EOutput::Terminal);
        EXPECT_EQ(process.Wait(), 0);
        EXPECT_EQ(process.GetOutput(), output);
    }
    CCtlProcess plain(Here({"list", "B"}), {"NO_COLOR=1"}, CCtlProcess::EOutput::Terminal);
    EXPECT_EQ(plain.Wait(), 0);
    EXPECT_THAT(plain.GetOutput(), testing::Not(HasSubstr("\x1b")));
}

TEST_F(LanternCtl, CompletionOffersWhatFits)
{
    const std::pair<std::string, std::string> rows[] = {
        {"''",
         "get set info list watch status alarms menu fav modules jobs call send cep hdf account completion"},
        {"se", "set send"},
        {"fav ''", "list add remove clear"},
        {"account ''", "list add passwd remove"},
        {"account a", "add"},
        {"--port 1 status ''", ""}, // nobody there
        {"--port @ fav add l", "LHM LUM"},
        {"list --fo", "--format"},
        {"list --format c", "codes"},
        {"cep ''", "decode encode talk serve"},
        {"cep encode --format ''", "1 2"},
        {"cep talk /run/module g", "get"},
        {"--port @ set l", "LHM LUM"}, // of the projector that the line names
        {"--port @ get LUM B", "BRI"},
        {"--port @ set LUM B", ""},
        {"--port 1 get L", ""},            // nobody there
        {"--port @ --ipc /run get L", ""}, // nobody to ask
        {"--serial /dev/tty0 : 9600 se", "set send"},
    };
    for (const auto& [line, words] : rows)
    {
        SCOPED_TRACE(line);
        const std::string typed = std::regex_replace(line, std::regex("@"), mProjector.GetPort());
        const std::string script = "source <(" LANTERN_TEST_CTL " completion bash); COMP_WORDS=(lanternctl " +
                                   typed + "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _lanternctl " +
                                   LANTERN_TEST_CTL + "; echo ${COMPREPLY[@]}";
        CCtlProcess bash({"-c", script}, {}, CCtlProcess::EOutput::Pipe, "/bin/bash");
        EXPECT_EQ(bash.Wait(), 0);
        EXPECT_EQ(bash.GetOutput(), words + "\n");
        EXPECT_EQ(bash.GetErrors(), "");
    }
}

// What is no peer of ours, or means no good.
TEST(LanternCtlPeer, AnyAnswerEndsInAnExitCode)
{
    const std::string nul(1, '\0');
    const std::string notification = R"({"method":"control:notify","params":{"code":"LUM"}})" + nul;
    struct SRow
    {
        const char* mName;
        std::string mAnswer; // again and again
        int mExitCode;
        std::string mErrors;
    };
    const SRow rows[] = {
        {"not JSON", "HTTP/1.1 400 Bad Request" + nul, 3, " does not speak JSON-RPC: "},
        {"not UTF-8", "{\"result\":\"\xFF\x9B\"}" + nul, 3, " does not speak JSON-RPC: it is not UTF-8"},
        {"too deep", std::string(100'000, '[') + nul, 3, " does not speak JSON-RPC: "},
        {"never the reply", notification, 3, "no answer from "},
        {"reply to another request", R"({"id":77,"result":{}})" + nul, 3, "no answer from "},
        {"no list", R"({"id":1,"result":{"value":7}})" + nul, 3, "something other than a list"},
        {"error without words", R"({"id":1,"error":[{"code":104}]})" + nul, 1, "[{\"code\":104}]"},
        {"error without an id", R"({"id":null,"error":{"code":-32700,"message":"Parse error"}})" + nul, 1,
         "Parse error (-32700)"},
        {"code that is a command", R"-({"id":1,"result":[{"code":"$(touch /tmp/x)"},{"code":"LUM"}]})-" + nul,
         0, ""},
    };
    for (const SRow& row : rows)
    {
        SCOPED_TRACE(row.mName);
        CTestPeer peer(row.mAnswer);
        CCtlProcess process({"--port", peer.GetPort(), "--timeout", "300", "list", "--format", "codes"});
        EXPECT_EQ(process.Wait(), row.mExitCode);
        EXPECT_THAT(process.GetErrors(), HasSubstr(row.mErrors));
        EXPECT_EQ(process.GetOutput(), row.mExitCode == 0 ? "LUM\n" : "");
    }
}

TEST(LanternCtlPeer, AnswerAboutOneControlMustHaveMembers)
{
    const std::vector<std::string> commands[] = {{"get", "LUM"}, {"--json", "get", "LUM"}};
    for (const std::vector<std::string>& command : commands)
    {
        CTestPeer peer(std::string(R"({"id":1,"result":["LUM"]})") + '\0');
        std::vector<std::string> arguments = {"--port", peer.GetPort(), "--timeout", "300"};
        arguments.insert(arguments.end(), command.begin(), command.end());
        CCtlProcess process(arguments);
        EXPECT_EQ(process.Wait(), 3);
        EXPECT_THAT(process.GetErrors(), HasSubstr("something other than the members of a control"));
        EXPECT_EQ(process.GetOutput(), "");
    }
}
