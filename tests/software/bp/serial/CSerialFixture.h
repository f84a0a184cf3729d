// A serial line whose other end is the test, with the control process or a recorder behind it.
#pragma once

#include "software/bp/serial/CEventLink.h"
#include "software/bp/serial/CIpcLocalClient.h"
#include "software/bp/serial/CSerialHandler.h"
#include "software/bp/serial/CVarnholtSerialParser.h"
#include "software/include/ILogIn.h"
#include "software/utility/CException.h"
#include "tests/software/bp/serial/CIpcFixture.h"
#include "tests/support/CManualClock.h"
#include "tests/support/CScriptedPort.h"

#include <list>
#include <utility>

/// Answers every message by an empty reply, and keeps what it got.
class CRecordingClient : public IIpcClient
{
public:
    bool Send(CIpcMessage& message, unsigned) override
    {
        mMessages.push_back(message);
        mReply = message;
        mReply.MakeReply(0);
        return true;
    }
    bool Receive(CIpcMessage& reply, unsigned) override
    {
        reply = mReply;
        return true;
    }
    void Disconnect() noexcept override {}
    bool IsLocal() const noexcept override { return true; }
    bool OpenNotify() override { return false; }
    const std::string& GetNotifyAddress() const noexcept override { return mAddress; }
    int GetNotifyDescriptor() const noexcept override { return -1; }
    void ProcessNotify(std::list<CIpcMessage>&) override {}
    bool IsNotifyLost() const noexcept override { return false; }
    void SetNotifyHandler(NotifyHandler) override {}

    std::vector<CIpcMessage> mMessages;

private:
    CIpcMessage mReply;
    const std::string mAddress = "RECORDER";
};

/// Keeps each log-in until the test answers it.
class CPendingLogIn : public ILogIn
{
public:
    void LogIn(const std::string& user, const std::string& password, const std::string& peer,
               Done done) override
    {
        mAsked.push_back(user + "/" + password + "/" + peer);
        mDone = std::move(done);
        if (mThrows)
            throw CException("LogIn", "test", 1, false, "no thread");
    }
    void Answer(EAccessLevel level) { std::exchange(mDone, {})({level, level == eAccessNone ? "no" : ""}); }

    std::vector<std::string> mAsked;
    Done mDone;
    bool mThrows = false;
};

/// What all parsers share is as at the start, before and after.
class CSharedSettings
{
public:
    CSharedSettings() { Reset(); }
    ~CSharedSettings() { Reset(); }

private:
    static void Reset()
    {
        CVarnholtSerialParser::UpdateAddress(-1);
        CVarnholtSerialParser::UpdateRouting(eRouting2And4);
        CVarnholtSerialParser::UpdateRemoteAccess(eRemoteAccessFull);
    }
};

constexpr std::uint32_t kTicks = 100; // a second, as many as the kernel's clock has

/// A parser in front of the recorder.
class CRecordedLine
{
public:
    /// Feeds bytes, in pieces of at most that size. @returns what was written
    std::string Feed(const std::string& bytes, std::size_t piece = 4096)
    {
        mPort.mInput = bytes;
        mPort.mPiece = piece;
        do
            mResult = mParser.ProcessData();
        while (mParser.HasInput() || (!mPort.mInput.empty() && !mParser.IsClosed()));
        return mPort.Take();
    }
    std::vector<CIpcMessage> TakeMessages() { return std::exchange(mClient->mMessages, {}); }

    CSharedSettings mSettings;
    CRecordingLog mLog;
    CManualClock mClock{kTicks};
    CSerialHandler mHandler{nullptr, mClock, mLog};
    CScriptedPort mPort;
    CRecordingClient* mClient = new CRecordingClient; // the link owns it
    CEventLink mLink{mLog, std::unique_ptr<IIpcClient>(mClient)};
    CVarnholtSerialParser mParser{&mLink, &mHandler, &mPort, mLog};
    ERxResult mResult = ERxResult::Busy;
};

/// One line of the control process.
class CSerialFixture : public CIpcFixture
{
protected:
    CSerialFixture() { mHandler.SetLogIn(&mLogIn); }

    CScriptedPort* AddScripted()
    {
        auto port = std::make_unique<CScriptedPort>();
        CScriptedPort* const scripted = port.get();
        mHandler.AddPort(std::move(port));
        return scripted;
    }
    /// Passes until the line has nothing more to say.
    std::string Say(CScriptedPort* port, const std::string& bytes)
    {
        port->mInput += bytes;
        for (int pass = 0; pass < 200; ++pass)
            mHandler.Update();
        return port->Take();
    }
    std::string Say(const std::string& bytes) { return Say(mPort, bytes); }

    CSharedSettings mSettings;
    CManualClock mClock{kTicks};
    CPendingLogIn mLogIn;
    CSerialHandler mHandler{
        [this] { return std::make_unique<CEventLink>(mLog, std::make_unique<CIpcLocalClient>(*mServer)); },
        mClock, mLog};
    CScriptedPort* mPort = AddScripted();
};
