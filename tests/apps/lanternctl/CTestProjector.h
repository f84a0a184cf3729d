// A projector of a few controls, served over a real socket by the real server, that the test can change.
#pragma once

#include "software/bp/c4j/CC4jControl.h"
#include "software/bp/c4j/CJsonRpcServer.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"
#include "software/utility/CAtomicFile.h"
#include "software/utility/CTextCatalog.h"
#include "tests/support/CManualClock.h"
#include "tests/support/CRecordingLog.h"
#include "tests/support/CRecordingProxy.h"
#include "tests/support/CTemporaryFolder.h"

#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

/// Everything but the thread itself is used from its own thread, which pumps the server.
class CTestProjector
{
public:
    CTestProjector()
        : mDispatcher(mLog)
    {
        CTemporaryFolder folder;
        CAtomicFile::Write(folder.File("texts"),
                           R"({"1":"Light output","2":"Share of the full light.","3":"Größe"})");
        mTexts.Load(folder.File("texts"));
        mDispatcher.SetTextCatalog(&mTexts);
        MakeControls();
        mServer = std::make_unique<CJsonRpcServer>(mDispatcher, "127.0.0.1", 0, mClock, mLog);
        mControl = std::make_unique<CC4jControl>(*mServer);
        mPort = mServer->GetPort();
        mThread = std::thread([this] { Pump(); });
    }
    ~CTestProjector()
    {
        mIsEnding = true;
        mThread.join();
    }

    std::string GetPort() const { return std::to_string(mPort); }

    /// Changes a control, on the projector's own thread, before it returns.
    void Change(const std::string& code, std::function<void(CProjCon&)> change)
    {
        Do([&] { change(*mDispatcher.GetControl(code)); });
    }
    void Disconnect()
    {
        Do([this] { mServer->Close(); });
    }                                       ///< every client, and for good
    void FallSilent() { mIsSilent = true; } ///< connections are made, nothing is answered

private:
    void Do(std::function<void()> task)
    {
        std::packaged_task<void()> job(std::move(task));
        std::future<void> done = job.get_future();
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            mJobs.push_back(std::move(job));
        }
        done.get();
    }

    void Pump()
    {
        while (!mIsEnding)
        {
            if (mIsSilent)
            {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
                continue;
            }
            if (mServer->GetSocket() >= 0)
                mServer->ProcessMessages();
            std::vector<std::packaged_task<void()>> jobs;
            {
                const std::lock_guard<std::mutex> lock(mMutex);
                jobs.swap(mJobs);
            }
            for (auto& job : jobs)
                job();
        }
    }

    template <typename... T>
    CProjCon& Make(EDisplayType type, const char* code, T... arguments)
    {
        mControls.push_back(std::make_unique<CProjCon>(type, mDispatcher, mProxy, code, arguments...));
        return *mControls.back();
    }

    void MakeControls()
    {
        constexpr bool kSaved = true;
        constexpr bool kReadOnly = true;
        Make(eDisplaySoftValue, "LUM", kSaved, 0, 1000, 1000, eAccessOperator, 1, 2,
             static_cast<unsigned char>(1), false)
            .SetUnit("%");
        Make(eDisplayInteger, "BRI", kSaved, -100, 100, 0, eAccessOperator, 0, 0,
             static_cast<unsigned char>(0), false);
        Make(eDisplayInteger, "FN1", !kSaved, 0, 5000, 1200, eAccessOperator, 0, 0,
             static_cast<unsigned char>(0), kReadOnly);
        Make(eDisplayBoolean, "PWR", kSaved, false, eAccessOperator, 0, 0, false);
        Make(eDisplayText, "NME", kSaved, 0, 8, std::string("Bühne"), eAccessOperator, 3, 0, false);
        Make(eDisplayText, "GPW", !kSaved, 0, 32, std::string("secret"), eAccessProtected, 0, 0, kReadOnly);
        Make(eDisplayAction, "LHM", !kSaved, eAccessOperator, 0, 0, 0, false);
        CProjCon& source = Make(eDisplayList, "SRC", kSaved, 0, eAccessOperator, 0, 0, false);
        source.AddList({Choice(0, "HDMI 1", true), Choice(1, "HDMI 2", true), Choice(3, "SDI", false)});
    }

    static SListEntry Choice(int value, const char* text, bool enabled)
    {
        SListEntry entry;
        entry.mValue = value;
        entry.mText = text;
        entry.mEnabled = enabled;
        return entry;
    }

    CRecordingLog mLog;
    CManualClock mClock{1000};
    CRecordingProxy mProxy;
    CTextCatalog mTexts;
    CEventDispatcher mDispatcher;
    std::vector<std::unique_ptr<CProjCon>> mControls;
    std::unique_ptr<CJsonRpcServer> mServer;
    std::unique_ptr<CC4jControl> mControl;
    unsigned short mPort = 0;
    std::atomic<bool> mIsEnding{false};
    std::atomic<bool> mIsSilent{false};
    std::mutex mMutex;
    std::vector<std::packaged_task<void()>> mJobs;
    std::thread mThread;
};
