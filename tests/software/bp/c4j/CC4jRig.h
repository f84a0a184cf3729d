// A server on loopback with a control of every kind, for the tests of handler groups.
#pragma once

#include "software/bp/c4j/CC4jControl.h"
#include "software/bp/c4j/CJsonRpcServer.h"
#include "software/bp/c4j/CJsonRpcTcpClient.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"
#include "software/jsonrpc/Handler.h"
#include "software/utility/CTextCatalog.h"
#include "tests/support/CManualClock.h"
#include "tests/support/CRecordingLog.h"
#include "tests/support/CRecordingProxy.h"
#include "tests/support/CTemporaryFolder.h"

#include <gtest/gtest.h>

#include <deque>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// A network client; whoever asks it for messages pumps the server, too.
class CC4jRigClient
{
public:
    explicit CC4jRigClient(CJsonRpcServer& server)
        : mServer(server)
        , mClient("127.0.0.1", server.GetPort())
    {
        EXPECT_TRUE(mClient.Connect());
        const std::size_t before = server.GetClientCount();
        while (server.GetClientCount() == before)
            server.ProcessMessages();
        mId = static_cast<int>(SJsonRpcClient::mGlobalId) - 1; // the latest one
    }

    int GetId() const { return mId; }
    void Send(const std::string& text) { mClient.Send(text); }
    /// Everything that arrives until the given number of messages has, or nothing more comes.
    std::vector<std::string> Receive(std::size_t expected)
    {
        constexpr int kQuietPasses = 5; // of up to 10 ms
        for (int quiet = 0; mMessages.size() < expected ? quiet < 20 * kQuietPasses : quiet < kQuietPasses;
             ++quiet)
        {
            mServer.ProcessMessages();
            mClient.Recv(mMessages, false);
        }
        std::vector<std::string> received(mMessages.begin(), mMessages.end());
        mMessages.clear();
        return received;
    }

private:
    CJsonRpcServer& mServer;
    CJsonRpcTcpClient mClient;
    std::deque<std::string> mMessages;
    int mId = -1;
};

class CC4jRig : public ::testing::Test
{
protected:
    static constexpr int kSomebody = 1000007; // client id of a caller that is not connected
    static constexpr bool kPersistent = true;
    static constexpr bool kWritable = false;
    static constexpr bool kReadOnly = true;

    CC4jRig()
    {
        std::ofstream(mFolder.File("texts.json"))
            << R"({"1": "Light output", "2": "How bright", "3": "From the camera", "4": "Network", "5": "Sure?"})";
        mCatalog.Load(mFolder.File("texts.json"));
        mDispatcher.SetTextCatalog(&mCatalog);
        mControl = std::make_unique<CC4jControl>(mServer);
    }

    void AddInteger(EDisplayType type, const std::string& code, int minimum, int maximum, int value,
                    EAccessLevel group = eAccessOperator, bool readOnly = kWritable)
    {
        Keep(type, code, kPersistent, minimum, maximum, value, group, 0, 0, static_cast<unsigned char>(0),
             readOnly);
    }
    void AddText(EDisplayType type, const std::string& code, int minimum, int maximum,
                 const std::string& text)
    {
        Keep(type, code, kPersistent, minimum, maximum, text, eAccessOperator, 0, 0, kWritable);
    }

    void AddMenu(const std::string& code) { Keep(eDisplayMenu, code, 0, 0, std::string("menu.png")); }

    /// One control of every kind.
    void AddControls()
    {
        Keep(eDisplayBoolean, "PWR", kPersistent, false, eAccessOperator, 0, 0, kWritable);
        Keep(eDisplaySoftValue, "LUM", kPersistent, 0, 1000, 900, eAccessOperator, 1, 2,
             static_cast<unsigned char>(1), kWritable);
        Control("LUM").SetUnit("%");
        Control("LUM").SetSoftRange(100, true, 950, false);
        Control("LUM").SetSoftValue(300);
        AddInteger(eDisplayInteger, "BRI", -100, 100, 0);
        AddInteger(eDisplaySoftRange, "GAM", 10, 30, 22);
        AddInteger(eDisplayInteger, "FN1", 0, 5000, 0, eAccessOperator, kReadOnly);
        AddInteger(eDisplayInteger, "SVO", -50, 50, 7, eAccessProtected);
        Keep(eDisplayList, "SRC", kPersistent, 0, eAccessOperator, 0, 0, kWritable);
        Control("SRC").AddList({{0, 0, 3, true, true, "HDMI 1", "hdmi.png"},
                                {1, 0, 0, false, true, "Hidden", ""},
                                {3, 0, 0, true, false, "SDI", ""},
                                {4, 4, 0, true, true, "", ""}});
        AddText(eDisplayText, "NME", 0, 8, "Hall");
        AddText(eDisplayLongText, "LOC", 0, 64, "");
        AddText(eDisplayMultiline, "NTE", 0, 255, "");
        AddText(eDisplayDate, "DAT", 0, 0, "2026-01-01");
        AddText(eDisplayTime, "TIM", 0, 0, "03:00:00");
        AddText(eDisplayIpAddress, "IPA", 0, 0, "192.168.1.10");
        Keep(eDisplayAction, "RST", false, eAccessOperator, 0, 0, 0, kWritable);
        Control("RST").SetConfirmText(5);
        Keep(eDisplayMenu, "MMM+MAIN", 0, 0, std::string("menu/main.png"));
        Keep(eDisplayCustom, "CST", 0, 0, std::string());
    }

    CProjCon& Control(const std::string& code) { return *mDispatcher.GetControl(code); }

    /// Runs a request as a client would and gives the whole reply, empty for none.
    std::string Run(const std::string& method, const std::string& params, int client = kSomebody)
    {
        return RunText(Request(method, params), client);
    }
    std::string RunSilently(const std::string& method, const std::string& params, int client = kSomebody)
    {
        return RunText(Message(R"("jsonrpc":"2.0")", method, params), client);
    }
    std::string RunText(const std::string& text, int client)
    {
        Json::Value response;
        mServer.ProcessOutOfBandMessage(text, response, client);
        return response.isNull() ? std::string() : Json::Rpc::Handler::GetString(response);
    }

    static std::string Request(const std::string& method, const std::string& params)
    {
        return Message(R"("jsonrpc":"2.0","id":1)", method, params);
    }
    static std::string Message(const std::string& head, const std::string& method, const std::string& params)
    {
        return "{" + head + R"(,"method":")" + method + "\"" +
               (params.empty() ? "" : R"(,"params":)" + params) + "}";
    }
    static std::string Result(const std::string& result)
    {
        return R"({"id":1,"jsonrpc":"2.0","result":)" + result + "}";
    }
    static std::string Error(int code, const std::string& message)
    {
        return R"({"error":{"code":)" + std::to_string(code) + R"(,"message":")" + message +
               R"("},"id":1,"jsonrpc":"2.0"})";
    }

    CTemporaryFolder mFolder;
    CTextCatalog mCatalog;
    CRecordingLog mLog;
    CManualClock mClock{1000};
    CEventDispatcher mDispatcher{mLog};
    CRecordingProxy mProxy;
    std::vector<std::unique_ptr<CProjCon>> mControls;
    CJsonRpcServer mServer{mDispatcher, "127.0.0.1", 0, mClock, mLog};
    std::unique_ptr<CC4jControl> mControl;

private:
    template <class... Arguments>
    void Keep(EDisplayType type, const std::string& code, Arguments&&... arguments)
    {
        mControls.push_back(std::make_unique<CProjCon>(type, mDispatcher, mProxy, code,
                                                       std::forward<Arguments>(arguments)...));
    }
};
