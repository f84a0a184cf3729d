// The real program, its real files and its real port.
#include "software/utility/CAtomicFile.h"
#include "software/utility/NJsonFile.h"
#include "tests/support/CDaemonProcess.h"
#include "tests/support/CRpcConnection.h"
#include "tests/support/CTemporaryFolder.h"

#include <gtest/gtest.h>
#include <json/value.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <regex>
#include <thread>

namespace
{
class Lanternd : public testing::Test
{
protected:
    std::string ReadState() const
    {
        std::string bytes;
        CAtomicFile::Read(mState + "/controls.json", bytes, 1 << 20);
        return bytes;
    }
    // Waits until the state file holds the text, as it does without a stop.
    bool AwaitState(const std::string& text) const
    {
        for (int i = 0; i < 500 && ReadState().find(text) == std::string::npos; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return ReadState().find(text) != std::string::npos;
    }
    // Polls a control until it has that value.
    static bool AwaitValue(CRpcConnection& client, const std::string& code, const Json::Value& value)
    {
        for (int i = 0; i < 500; ++i)
        {
            if (client.Get(code) == value)
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return false;
    }

    CTemporaryFolder mFolder;
    const std::string mState = mFolder.File("state"); // made by the daemon
};
} // namespace

TEST_F(Lanternd, TellsWhenItIsReadyAndEndsCleanly)
{
    CDaemonProcess daemon(mState);
    EXPECT_TRUE(std::regex_match(daemon.GetReadyLine(),
                                 std::regex("lanternd ready: json-rpc=[0-9]+ ipc=" + daemon.GetRunDir() +
                                            "/main_controller\\.socket")));
    EXPECT_NE(daemon.GetLog().find("keeps its state in " + mState), std::string::npos);
    CRpcConnection client(daemon.GetPort());
    EXPECT_EQ(client.Get("LUM"), 1000);
    EXPECT_EQ(daemon.Stop(SIGTERM), 0);
    EXPECT_NE(daemon.GetLog().find("each goes to its safe speed, 70 %"), std::string::npos);
    // Nothing else, and the password of the first account at the very first start only.
    EXPECT_TRUE(std::regex_match(
        daemon.GetOutput(),
        std::regex("account \"admin\" created, password: [-a-z2-9]{19}\n" + daemon.GetReadyLine() + "\n")));
    CDaemonProcess again(mState);
    EXPECT_EQ(again.Stop(SIGINT), 0);
    EXPECT_EQ(again.GetOutput(), again.GetReadyLine() + "\n");
}

TEST_F(Lanternd, ASecondSignalDoesNotCutItsEndShort)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer's own ending takes the second signal";
#endif
    CDaemonProcess daemon(mState);
    for (const int signal : {SIGSTOP, SIGINT, SIGTERM}) // stopped, so that it finds both of them waiting
        ASSERT_EQ(::kill(daemon.GetId(), signal), 0);
    EXPECT_EQ(daemon.Stop(SIGCONT), 0);
}

TEST_F(Lanternd, AnswersSetsAndRefusals)
{
    CDaemonProcess daemon(mState);
    CRpcConnection client(daemon.GetPort());
    struct SCase
    {
        const char* mCode;
        Json::Value mValue;
        Json::Value mStored; // null: refused
        int mError;
        const char* mMessage;
    };
    const Json::Value none;
    const SCase cases[] = {
        {"LUM", 735, 735, 0, ""},
        {"lum", 2000, 1000, 0, ""},
        {"PWR", true, true, 0, ""},
        {"NME", "Käse", "Käse", 0, ""},
        {"IPA", "010.0.0.1", "10.0.0.1", 0, ""},
        {"LNH", 5000, 4500, 0, ""},
        {"IPA", "10.0.0", none, 104, "Invalid Value"},
        {"SRC", 9, none, 104, "Invalid Value"},
        {"SRC", 3, none, 105, "Disabled Control"},
        {"FN1", 3, none, 105, "This control is read-only"},
        {"DAT", "2026-02-30", none, 112, "Failed to set Hardware"},
        {"TIM", "25:00:00", none, 112, "Failed to set Hardware"},
        {"SVM", true, none, 117, "Invalid Access Group"},
        {"XXX", 1, none, 101, "Control Not Found"},
    };
    for (const SCase& row : cases)
    {
        SCOPED_TRACE(row.mCode + std::string(" ") + row.mValue.asString());
        const Json::Value reply = client.Set(row.mCode, row.mValue);
        if (row.mError == 0)
        {
            EXPECT_EQ(reply["result"]["value"], row.mStored);
            EXPECT_EQ(client.Get(row.mCode), row.mStored);
            continue;
        }
        EXPECT_EQ(reply["error"]["code"], row.mError);
        EXPECT_EQ(reply["error"]["message"], row.mMessage);
    }
}

TEST_F(Lanternd, TheProjectorBehindItMovesAndWarmsUp)
{
    CDaemonProcess daemon(mState);
    CRpcConnection client(daemon.GetPort());
    client.Set("LNF", 300);
    client.Set("PWR", true);
    EXPECT_TRUE(AwaitValue(client, "LPF", 300)); // 0.3 s
    for (int i = 0; i < 500 && client.Get("TP1").asInt() <= 250; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_GT(client.Get("TP1").asInt(), 250);
    client.Set("LHM", 1);
    EXPECT_EQ(client.Get("LNF"), 0);
    EXPECT_TRUE(AwaitValue(client, "LPF", 0));
}

TEST_F(Lanternd, ReachesItsBoardOverEveryBus)
{
    for (const char* bus : {"local", "pcie", "spi"})
    {
        SCOPED_TRACE(bus);
        CDaemonProcess daemon(mFolder.File(bus), {"--bus", bus});
        CRpcConnection client(daemon.GetPort());
        EXPECT_EQ(client.Set("PAT", 4)["result"]["value"], 4);
        EXPECT_EQ(client.Set("PWR", true)["result"]["value"], true);
        for (int i = 0; i < 500 && client.Get("TP1").asInt() <= 250; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        EXPECT_GT(client.Get("TP1").asInt(), 250); // the heat comes back through the die sensor
    }
}

TEST_F(Lanternd, KeepsValuesAcrossARestartAndResetsThem)
{
    {
        CDaemonProcess daemon(mState);
        CRpcConnection client(daemon.GetPort());
        client.Set("LUM", 735);
        client.Set("NME", "Stage \"left\"");
        EXPECT_EQ(daemon.Stop(), 0); // saved at the stop, however recent
    }
    CDaemonProcess daemon(mState, {"--language", "de"});
    CRpcConnection client(daemon.GetPort());
    EXPECT_EQ(client.Get("LUM"), 735);
    EXPECT_EQ(client.Get("NME"), "Stage \"left\"");
    Json::Value params;
    params.append("LUM");
    EXPECT_EQ(client.Call("control:getAttributes", params)["result"]["label"], "Lichtleistung");

    client.Set("RST", 1);
    EXPECT_EQ(client.Get("LUM"), 1000);
    EXPECT_EQ(client.Get("NME"), "");
}

TEST_F(Lanternd, AKillAtAnyMomentLeavesAWholeFile)
{
    int last = -1; // value that was certainly on the medium before the kill
    for (int round = 0; round < 3; ++round)
    {
        SCOPED_TRACE(round);
        CDaemonProcess daemon(mState, {"--log", "warning"});
        CRpcConnection client(daemon.GetPort());
        EXPECT_GE(client.Get("LUM").asInt(), last);
        EXPECT_EQ(daemon.GetLog(), ""); // neither set aside nor dropped
        client.Set("LUM", round * 100);
        last = round * 100;
        ASSERT_TRUE(AwaitState("\"LUM\" : " + std::to_string(last)));

        // A storm, and the kill in the middle of it, at another moment each time.
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(450 + 97 * round);
        for (int i = 0; std::chrono::steady_clock::now() < end; ++i)
            client.Set("LUM", last + i % 100);
        EXPECT_EQ(daemon.Stop(SIGKILL), -SIGKILL);
        EXPECT_NO_THROW(NJsonFile::ParseObject(ReadState()));
    }
}

TEST_F(Lanternd, SetsADamagedStateFileAside)
{
    std::filesystem::create_directory(mState);
    CAtomicFile::Write(mState + "/controls.json", "{\"version\": 1, \"contr");
    CDaemonProcess daemon(mState);
    CRpcConnection client(daemon.GetPort());
    EXPECT_EQ(client.Get("LUM"), 1000);
    std::string kept;
    EXPECT_TRUE(CAtomicFile::Read(mState + "/controls.json.bad", kept, 1000));
    EXPECT_EQ(kept, "{\"version\": 1, \"contr");
    EXPECT_NE(daemon.GetLog().find("kept as " + mState + "/controls.json.bad"), std::string::npos);
}

TEST_F(Lanternd, KeepsFavoritesInTheirOrderAndSetsADamagedListAside)
{
    const std::string file = mState + "/favmenu.json";
    Json::Value codes;
    for (const char* code : {"LUM", "BRI", "LUM", "XYZ"})
        codes["code"].append(code);
    {
        CDaemonProcess daemon(mState);
        CRpcConnection client(daemon.GetPort());
        EXPECT_EQ(client.Call("menu:setFavorites", codes)["error"], Json::Value());
        daemon.Stop(SIGKILL); // what was answered is in the file
    }
    std::string bytes;
    {
        CDaemonProcess daemon(mState);
        CRpcConnection client(daemon.GetPort());
        const Json::Value menu = client.Call("menu:get", NJsonFile::ParseArray(R"(["MMM+FAVR"])"));
        std::string shown;
        for (const Json::Value& item : menu["result"]["items"])
            shown += item.get("code", "-").asString() + ' ';
        EXPECT_EQ(shown, "LUM BRI LUM - ");
        EXPECT_TRUE(CAtomicFile::Read(file, bytes, 1 << 20));
    }
    CAtomicFile::Write(file, bytes.substr(0, bytes.size() / 2));
    CDaemonProcess daemon(mState);
    EXPECT_NE(daemon.GetLog().find("Unable to read favorites menu file " + file), std::string::npos);
    std::string aside;
    EXPECT_TRUE(CAtomicFile::Read(file + ".bad", aside, 1 << 20));
    EXPECT_EQ(aside, bytes.substr(0, bytes.size() / 2));
}

TEST_F(Lanternd, StartsWithoutMenusWhenTheirFileIsDamaged)
{
    const std::string config = mFolder.File("config");
    std::filesystem::copy(LANTERN_TEST_CONFIG_DIR, config);
    const Json::Value main = NJsonFile::ParseArray(R"(["MMM+MAIN"])");
    struct SRow
    {
        std::string mMenus; // "-": no file
        const char* mLogged;
        const char* mReply; // part of it
    };
    const SRow rows[] = {
        {"-", "Unable to find menu configuration", "Menu ID not found"},
        {"", "Unable to read menu configuration", "Menu ID not found"},
        {R"({"MAIN": {"items": ["PWR")", "there are no menus", "Menu ID not found"},
        {R"({"MAIN": {"name": 1}})", "Menu MAIN: it has no \"items\"", "items[] not found"},
        {R"({"MAIN": {"items": ["MMM+MAIN", "MMM+IMAG", "MMM+ABCD", 7]}, "LENZ": {"items": ["BRJ"]}})",
         "there is no control BRJ", "\"MMM+MAIN\""},
    };
    std::string log;
    for (std::size_t i = 0; i < std::size(rows); ++i)
    {
        SCOPED_TRACE(rows[i].mMenus);
        std::filesystem::remove(config + "/menu.json");
        if (rows[i].mMenus != "-")
            CAtomicFile::Write(config + "/menu.json", rows[i].mMenus);
        CDaemonProcess daemon(mFolder.File("s" + std::to_string(i)), {"--config-dir", config});
        CRpcConnection client(daemon.GetPort());
        EXPECT_NE(NJsonFile::Print(client.Call("menu:get", main)).find(rows[i].mReply), std::string::npos);
        log = daemon.GetLog();
        EXPECT_NE(log.find(rows[i].mLogged), std::string::npos) << log;
    }
    for (const char* line : {"Menu LENZ: there is no control MMM+LENZ", "MMM+IMAG leads nowhere",
                             "MMM+ABCD leads nowhere", "7 is no control code"})
        EXPECT_NE(log.find(line), std::string::npos) << line;
}

TEST_F(Lanternd, RefusesToStartWithASentence)
{
    CDaemonProcess daemon(mState);
    const std::string port = std::to_string(daemon.GetPort());
    const std::string file = mFolder.File("file");
    const std::string longName = mFolder.File(std::string(100, 'r'));
    CAtomicFile::Write(file, "");
    CDaemonProcess(mFolder.File("other")).Stop(); // has its first account, so that nothing is left to say
    // What a good start has; each row makes one of it wrong.
    const std::map<std::string, std::string> good = {
        {"--port", "0"},
        {"--bind", "127.0.0.1"},
        {"--run-dir", mFolder.File("run")},
        {"--state-dir", mFolder.File("other")},
        {"--config-dir", LANTERN_TEST_CONFIG_DIR},
    };
    struct SCase
    {
        std::string mOption;
        std::string mValue;
        int mExitCode;
        std::string mSentence;
    };
    const SCase cases[] = {
        {"--state-dir", mState, 1,
         "Another lanternd (process " + std::to_string(daemon.GetId()) + ") uses the state in " + mState},
        {"--state-dir", file, 1, "Unable to use the state folder " + file},
        {"--port", port, 1,
         "Unable to listen on 127.0.0.1 port " + port + ": Bind failed: Address already in use"},
        {"--run-dir", daemon.GetRunDir(), 1,
         "Socket " + daemon.GetRunDir() + "/main_controller.socket is served by another process already"},
        {"--run-dir", file, 1,
         "Unable to open the lock file " + file + "/main_controller.socket.lock: Not a directory"},
        {"--run-dir", longName, 1, "Socket name " + longName + "/main_controller.socket is too long: "},
        {"--serial", "/dev/nowhere", 1, "Unable to open serial port /dev/nowhere: No such file or directory"},
        {"--serial", "/dev/null", 1, "/dev/null is no serial port: "},
        {"--serial", "/dev/null:300", 1, "Unsupported baud rate 300"},
        {"--config-dir", mFolder.GetPath(), 1,
         "Unable to read texts from " + mFolder.GetPath() + "/texts.en.json"},
        {"--log-file", "/nowhere/log", 1, "Unable to open log file /nowhere/log"},
        {"--prot", "0", 2, ""},
    };
    for (const SCase& row : cases)
    {
        SCOPED_TRACE(row.mOption + " " + row.mValue);
        std::map<std::string, std::string> options = good;
        options[row.mOption] = row.mValue;
        std::vector<std::string> arguments;
        for (const auto& [option, value] : options)
            arguments.insert(arguments.end(), {option, value});
        const CDaemonProcess::SRun run = CDaemonProcess::Run(arguments, mFolder.File("output"));
        EXPECT_EQ(run.mExitCode, row.mExitCode);
        EXPECT_NE(run.mErr.find("lanternd: " + row.mSentence), std::string::npos) << run.mErr;
        EXPECT_EQ(run.mOut, "");
    }
    EXPECT_EQ(CRpcConnection(daemon.GetPort()).Get("LUM"), 1000); // the first one was not disturbed
}

TEST_F(Lanternd, LimitsItsClients)
{
    const std::vector<std::string> cases[] = {
        {"--max-clients", "2", "--max-per-peer", "9"},
        {"--max-per-peer", "2"},
        {"--max-clients", "5"}, // half of them for one address
    };
    for (const std::vector<std::string>& arguments : cases)
    {
        SCOPED_TRACE(arguments.front());
        CDaemonProcess daemon(mState, arguments);
        CRpcConnection first(daemon.GetPort());
        {
            CRpcConnection second(daemon.GetPort());
            EXPECT_EQ(first.Get("LUM"), 1000);
            EXPECT_EQ(second.Get("LUM"), 1000);
            CRpcConnection third(daemon.GetPort());
            EXPECT_THROW(third.Get("LUM"), std::runtime_error);
        }
        EXPECT_EQ(first.Get("LUM"), 1000); // and the place of the second is free again
        EXPECT_EQ(CRpcConnection(daemon.GetPort()).Get("LUM"), 1000);
    }
}

TEST_F(Lanternd, IsQuietWhenNothingHappens)
{
    CDaemonProcess daemon(mState);
    CRpcConnection client(daemon.GetPort());
    for (const char* code : {"TP1", "LPH", "LUM", "OPH"}) // the fans are still starting
    {
        Json::Value params;
        params.append(code);
        client.Call("control:addListener", params);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1000));
    client.Send(R"({"jsonrpc":"2.0","id":99,"method":"getC4JVersion"})");
    EXPECT_EQ(client.ReceiveJson()["id"], 99); // the first thing since the last reply: no notification came
}
