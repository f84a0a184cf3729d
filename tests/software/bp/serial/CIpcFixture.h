// A control process with a few controls, and raw clients that speak bytes to it.
#pragma once

#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CIpcEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"
#include "software/bp/serial/NIpcMsgUtil.h"
#include "software/bp/serial/NIpcSocket.h"
#include "software/utility/CIpcMessage.h"
#include "tests/support/CRecordingLog.h"
#include "tests/support/CRecordingProxy.h"
#include "tests/support/CTemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <poll.h>
#include <sys/socket.h>

inline CIpcMessage Message(const std::string& fullCode, unsigned flags)
{
    CIpcMessage message;
    if (!NIpcMsgUtil::SetFullCode(message, fullCode))
        throw std::runtime_error("no code: " + fullCode);
    message.SetFlags(static_cast<std::uint16_t>(flags));
    return message;
}

inline CIpcMessage Command(const std::string& fullCode)
{
    return Message(fullCode, eFlagReplyWanted);
}

inline CIpcMessage Request(const std::string& fullCode, char modifier = 0)
{
    CIpcMessage request = Message(fullCode, eFlagRequest);
    if (modifier != 0)
        request.AddArg(0, 0, eParmText, static_cast<unsigned char>(modifier));
    return request;
}

inline std::string Bytes(CIpcMessage message)
{
    unsigned char* bytes = nullptr;
    const unsigned size = message.SerializeMessage(bytes);
    return {reinterpret_cast<const char*>(bytes), size};
}

/// "KST+TLPX! 0=L1/3 1=\"text\" ..." : a modifier stands before a number, its width behind it; "..." more
/// follow.
inline std::string Show(const CIpcMessage& message)
{
    std::string line = NIpcMsgUtil::GetFullCode(message);
    line += message.HasFlag(eFlagReply) ? "!" : "";
    line += message.HasFlag(eFlagRequest) ? "?" : "";
    unsigned short key = 0;
    std::string value;
    for (bool more = message.GetFirstArg(key, value); more; more = message.GetNextArg(key, value))
    {
        EParmFlags flags = eParmText;
        unsigned char modifier = 0;
        message.GetArgFlags(key, flags);
        message.GetModifier(key, modifier);
        line += " " + std::to_string(key) + "=";
        if (modifier != 0)
            line += static_cast<char>(modifier);
        line += flags == eParmText ? '"' + value + '"' : value + "/" + std::to_string(flags & eParmWidthMask);
    }
    return line + (message.HasFlag(eFlagMoreFollows) ? " ..." : "");
}

inline std::vector<std::string> ShowAll(const std::list<CIpcMessage>& messages)
{
    std::vector<std::string> shown;
    for (const CIpcMessage& message : messages)
        shown.push_back(Show(message));
    return shown;
}

/// Shows what `collect` appends to a list.
template <typename TCollect>
std::vector<std::string> ShowCollected(TCollect collect)
{
    std::list<CIpcMessage> messages;
    collect(messages);
    return ShowAll(messages);
}

template <typename TValue>
CIpcMessage With(CIpcMessage message, const TValue& value, unsigned short key = 0)
{
    message.AddArg(key, value);
    return message;
}

/// A stream connection to the control process.
class CRawClient
{
public:
    explicit CRawClient(const std::string& serverName)
        : mSocket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0))
    {
        if (NIpcSocket::Connect(mSocket, serverName) != 0)
            throw std::runtime_error("no connection to " + serverName);
    }

    int Get() const { return mSocket.Get(); }
    void Close() { mSocket.Reset(); }

    std::size_t Send(const std::string& bytes)
    {
        const ssize_t count = ::send(mSocket.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        return count < 0 ? 0 : static_cast<std::size_t>(count);
    }
    void Send(const CIpcMessage& message) { EXPECT_EQ(Send(Bytes(message)), Bytes(message).size()); }

    /// What has arrived, without waiting.
    std::vector<std::string> Take()
    {
        char buffer[65536];
        for (;;)
        {
            const ssize_t count = ::recv(mSocket.Get(), buffer, sizeof buffer, 0);
            mClosed = count == 0 || (count < 0 && errno != EAGAIN);
            if (count <= 0)
                break;
            mInput.append(buffer, static_cast<std::size_t>(count));
        }
        std::vector<std::string> shown;
        std::size_t length = 0;
        while (CIpcMessage::MeasureMessage(Data(), mInput.size(), length) && length != 0 &&
               length <= mInput.size())
        {
            EXPECT_TRUE(CIpcMessage::IsWellFormed(Data(), length));
            CIpcMessage message;
            message.DeserializeMessage(Data(), nullptr);
            shown.push_back(Show(message));
            mInput.erase(0, length);
        }
        return shown;
    }
    bool IsClosed()
    {
        Take();
        return mClosed;
    }

private:
    const unsigned char* Data() const { return reinterpret_cast<const unsigned char*>(mInput.data()); }

    CDescriptor mSocket;
    std::string mInput;
    bool mClosed = false;
};

class CIpcFixture : public ::testing::Test
{
protected:
    CIpcFixture()
    {
        mSource.AddList({Entry(0, "HDMI 1"), Entry(1, "HDMI 2"), Entry(3, "SDI", false, false)});
    }

    static SListEntry Entry(int value, const std::string& text, bool visible = true, bool enabled = true)
    {
        SListEntry entry;
        entry.mValue = value;
        entry.mText = text;
        entry.mVisible = visible;
        entry.mEnabled = enabled;
        return entry;
    }

    /// Lets the server do all that there is to do.
    void Pump()
    {
        for (int pass = 0; pass < 10000; ++pass)
        {
            pollfd ready{mServer->GetDescriptor(), POLLIN, 0};
            if (::poll(&ready, 1, 0) <= 0)
                return;
            mServer->ProcessEvents();
        }
        FAIL() << "the server finds no rest";
    }
    /// Sends one message over the socket and shows the replies.
    std::vector<std::string> Ask(CRawClient& client, const CIpcMessage& message)
    {
        client.Send(message);
        Pump();
        return client.Take();
    }
    std::vector<std::string> Handle(CIpcMessage message)
    {
        return ShowCollected([&](auto& replies) { mServer->HandleMessage(message, replies); });
    }
    std::string HandleOne(const CIpcMessage& message)
    {
        const std::vector<std::string> shown = Handle(message);
        return shown.size() == 1 ? shown.front() : "replies: " + std::to_string(shown.size());
    }

    CRecordingLog mLog;
    CRecordingProxy mProxy;
    CTemporaryFolder mFolder;
    const std::string mServerName = NIpcSocket::MakeServerName(mFolder.GetPath());
    CEventDispatcher mDispatcher{mLog};
    CProjCon mPower{eDisplayBoolean, mDispatcher,     mProxy, "PWR", false,
                    false,           eAccessOperator, 11,     12,    false};
    CProjCon mKeystone{eDisplayInteger, mDispatcher, mProxy, "KST+TLPX", false, -400, 400, 7,
                       eAccessOperator, 21,          22,     0,          false};
    CProjCon mSource{eDisplayList, mDispatcher, mProxy, "SRC", false, 1, eAccessOperator, 31, 32, false};
    CProjCon mName{eDisplayText, mDispatcher, mProxy,          "NME", false, 0,
                   5000,         "Hall",      eAccessOperator, 41,    42,    false};
    CProjCon mReset{eDisplayAction, mDispatcher, mProxy, "RST", false, eAccessOperator, 51, 52, 0, false};
    CProjCon mMenu{eDisplayMenu, mDispatcher, mProxy, "MMM+MAIN", 61, 62, ""};
    CProjCon mFan{eDisplayInteger, mDispatcher, mProxy, "FN1", false, 0, 9000, 1200,
                  eAccessOperator, 71,          72,     0,     true};
    CProjCon mService{eDisplayInteger,  mDispatcher, mProxy, "SVO", false, -50, 50, 5,
                      eAccessProtected, 81,          82,     0,     false};
    CProjCon mUncarried{eDisplayBoolean, mDispatcher,     mProxy, "ABC+12", false,
                        false,           eAccessOperator, 0,      0,        false};
    std::unique_ptr<CIpcEventDispatcher> mServer =
        std::make_unique<CIpcEventDispatcher>(mDispatcher, mServerName, mLog);
};

/// Drives a server on a thread of its own, for clients that block. Until it goes, the server, the dispatcher
/// and the controls belong to that thread.
class CServerThread
{
public:
    explicit CServerThread(CEventDispatcher& dispatcher, int descriptor)
        : mThread(
              [this, &dispatcher, descriptor]
              {
                  while (!mStop)
                  {
                      pollfd ready{descriptor, POLLIN, 0};
                      ::poll(&ready, 1, 5);
                      dispatcher.Update();
                  }
              })
    {
    }
    ~CServerThread()
    {
        mStop = true;
        mThread.join();
    }

private:
    std::atomic<bool> mStop{false};
    std::thread mThread;
};
