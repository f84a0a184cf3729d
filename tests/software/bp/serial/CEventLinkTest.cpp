// The link of other processes: exchanges, time-outs, retries, typed operations, notifications.
#include "tests/software/bp/serial/CIpcFixture.h"

#include "software/bp/serial/CEventLink.h"
#include "software/utility/CException.h"

#include <chrono>
#include <csignal>
#include <deque>
#include <filesystem>
#include <functional>

#include <sys/time.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace
{
// Stands for the way to the control process; every step of an exchange is as the test wants it.
class CScriptedClient : public IIpcClient
{
public:
    bool Send(CIpcMessage& message, unsigned) override
    {
        mSent.push_back(Show(message));
        if (mThrows)
            throw std::runtime_error("no way");
        return mSends;
    }
    bool Receive(CIpcMessage& reply, unsigned timeoutMs) override
    {
        mWaits.push_back(timeoutMs);
        std::this_thread::sleep_for(mPause);
        if (mEndless)
            mReplies.assign(1, Message("PWR", eFlagReply | eFlagMoreFollows));
        if (mReplies.empty())
            return false;
        reply = mReplies.front();
        mReplies.pop_front();
        return true;
    }
    void Disconnect() noexcept override { ++mDisconnects; }
    bool IsLocal() const noexcept override { return false; }
    bool OpenNotify() override { return false; }
    const std::string& GetNotifyAddress() const noexcept override { return mAddress; }
    int GetNotifyDescriptor() const noexcept override { return -1; }
    void ProcessNotify(std::list<CIpcMessage>&) override {}
    bool IsNotifyLost() const noexcept override { return false; }
    void SetNotifyHandler(NotifyHandler) override {}

    std::vector<std::string> mSent;
    std::deque<CIpcMessage> mReplies;
    bool mSends = true;
    bool mThrows = false;
    bool mEndless = false; // another reply always follows
    std::chrono::milliseconds mPause{0};
    std::vector<unsigned> mWaits; // as they were asked for
    int mDisconnects = 0;
    std::string mAddress = "A.notify";
};

class CEventLinkTest : public ::testing::Test
{
protected:
    CEventLinkTest()
    {
        mLink.SetSleep(
            [this](unsigned seconds)
            {
                mSleeps.push_back(seconds);
                if (mOnSleep)
                    mOnSleep();
            });
    }
    static CIpcMessage Reply(unsigned flags = 0)
    {
        CIpcMessage reply = Message("PWR", eFlagReply | flags);
        reply.AddArg(0, 1);
        return reply;
    }
    static CIpcMessage ErrorReply(EError error, unsigned flags = 0)
    {
        CIpcMessage reply = Message("PWR", eFlagReply | flags);
        NIpcMsgUtil::MakeErrorResponse(reply, error);
        return reply;
    }
    EError SendPower(unsigned timeoutMs = 10, int accessGroup = CEventLink::kNoAccessGroup)
    {
        CIpcMessage command = Message("PWR", 0);
        return mLink.SendCommand(accessGroup, command, mReply, timeoutMs);
    }

    CRecordingLog mLog;
    CScriptedClient* mClient = new CScriptedClient; // the link owns it
    CEventLink mLink{mLog, std::unique_ptr<IIpcClient>(mClient)};
    std::vector<unsigned> mSleeps;
    std::function<void()> mOnSleep;
    CIpcMessage mReply;
};
} // namespace

TEST_F(CEventLinkTest, ASilentProcessIsTriedFourTimesInDoublingMode)
{
    mLink.SetRetryMode(eRetryDoubling);
    EXPECT_EQ(SendPower(), eErrorTimeout);
    EXPECT_EQ(mClient->mSent.size(), 4u);
    EXPECT_THAT(mSleeps, ElementsAre(2u, 4u, 8u));
    EXPECT_EQ(mClient->mDisconnects, 4) << "a late reply must not answer the next message";
    for (const char* const line : {"SendCommand busy or not responding (110). Retrying after 2s, PWR+",
                                   "SendCommand busy or not responding (110). Retrying after 4s, PWR+",
                                   "SendCommand busy or not responding (110). Retrying after 8s, PWR+"})
        EXPECT_TRUE(mLog.Has(ELogLevel::Warning, line)) << line;
}

TEST_F(CEventLinkTest, TheModeDecidesWhetherToRetryAndTheErrorDoesNot)
{
    const struct
    {
        const char* mName;
        ERetryMode mMode;
        unsigned mSeconds;
        std::vector<unsigned> mSleeps; // until the process answers, or all of them
    } cases[] = {
        {"none", eRetryNone, 1, {}},
        {"fixed", eRetryFixed, 3, {3, 3, 3, 3, 3, 3}},
        {"doubling from 3", eRetryDoubling, 3, {6, 12}},
        {"doubling from 7", eRetryDoubling, 7, {14}},
        {"doubling from 8", eRetryDoubling, 8, {}},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(row.mName);
        mSleeps.clear();
        mLink.SetRetryMode(row.mMode, row.mSeconds);
        mClient->mReplies.assign(1, ErrorReply(eErrorControlNotFound)); // an answer, and no silence at all
        mOnSleep = [&]
        { mClient->mReplies.assign(1, mSleeps.size() == 6 ? Reply() : ErrorReply(eErrorControlNotFound)); };
        EXPECT_EQ(SendPower(), row.mMode == eRetryFixed ? eErrorNone : eErrorControlNotFound);
        EXPECT_EQ(mSleeps, row.mSleeps);
    }
}

TEST_F(CEventLinkTest, AnExchangeEndsWithTheLastReplyOrTheFirstError)
{
    CIpcMessage request = Request("PWR", 'L');
    std::list<CIpcMessage> replies(1);
    mClient->mReplies = {Reply(eFlagMoreFollows), Reply(eFlagMoreFollows), Reply()};
    EXPECT_EQ(mLink.SendRequest(2, request, replies, 10), eErrorNone);
    ASSERT_EQ(replies.size(), 3u);
    for (const CIpcMessage& reply : replies)
        EXPECT_FALSE(reply.HasFlag(eFlagMoreFollows));
    EXPECT_EQ(mClient->mSent.back(), "PWR? 0=L0/3 231=2/3");
    EXPECT_TRUE(mLog.Has(ELogLevel::Debug, "SendRequest successful, returned:0, PWR+"));
    EXPECT_EQ(mClient->mDisconnects, 0);

    mClient->mReplies = {Reply(eFlagMoreFollows), Reply()};
    mReply = CIpcMessage();
    EXPECT_EQ(SendPower(), eErrorNone);
    EXPECT_EQ(Show(mReply), "PWR! 0=1/3");
    EXPECT_TRUE(mClient->mReplies.empty()) << "a command takes all its replies too";

    mClient->mReplies = {Reply(eFlagMoreFollows), ErrorReply(eErrorSystemBusy, eFlagMoreFollows), Reply()};
    EXPECT_EQ(mLink.SendRequest(2, request, replies, 10), eErrorSystemBusy);
    EXPECT_EQ(replies.size(), 2u);
    EXPECT_EQ(mClient->mDisconnects, 1) << "what would have followed is not waited for";

    mClient->mReplies = {Reply(eFlagMoreFollows)};
    EXPECT_EQ(mLink.SendRequest(2, request, replies, 10), eErrorTimeout);
    EXPECT_EQ(mClient->mDisconnects, 2);
}

TEST_F(CEventLinkTest, RepliesThatNeverEndAreGivenUp)
{
    CIpcMessage request = Request("PWR", 'L');
    std::list<CIpcMessage> replies;
    mClient->mEndless = true;
    EXPECT_EQ(mLink.SendRequest(2, request, replies, 60000), eErrorExceededListSize);
    EXPECT_EQ(replies.size(), CEventLink::kMaxReplies);
    EXPECT_TRUE(mLog.Has(ELogLevel::Error, "SendRequest: more than 2048 replies to PWR; given up"));
    EXPECT_EQ(mClient->mDisconnects, 1);

    mClient->mPause = std::chrono::milliseconds(2); // each in time, but all together not
    mClient->mWaits.clear();
    EXPECT_EQ(SendPower(5), eErrorTimeout);
    EXPECT_LT(mClient->mWaits.size(), 50u);
    EXPECT_THAT(mClient->mWaits, ::testing::Each(::testing::AllOf(::testing::Ge(1u), ::testing::Le(5u))));
    EXPECT_TRUE(mLog.Has(ELogLevel::Error, "SendCommand: replies to PWR do not end; given up"));
    EXPECT_EQ(mClient->mDisconnects, 2);
}

TEST_F(CEventLinkTest, ATimeoutOfZeroIsOneWay)
{
    EXPECT_EQ(SendPower(0), eErrorNone);
    EXPECT_EQ(mClient->mDisconnects, 0) << "a command without the flag is not answered";
    CIpcMessage request = Request("PWR");
    std::list<CIpcMessage> replies;
    EXPECT_EQ(mLink.SendRequest(CEventLink::kNoAccessGroup, request, replies, 0), eErrorNone);
    EXPECT_EQ(mClient->mDisconnects, 1) << "a request is";
    EXPECT_THAT(replies, IsEmpty());
    EXPECT_FALSE(request.HasFlag(eFlagReplyWanted));
    mClient->mSends = false;
    EXPECT_EQ(SendPower(0), eErrorTimeout);
}

TEST_F(CEventLinkTest, FailuresOfTheWayAre111)
{
    mClient->mThrows = true;
    EXPECT_EQ(SendPower(), eErrorCommunications);
    EXPECT_TRUE(mLog.Has(ELogLevel::Error, "SendCommand Transmit failed: no way"));
    CIpcMessage request = Request("PWR");
    std::list<CIpcMessage> replies;
    EXPECT_EQ(mLink.SendRequest(-1, request, replies, 10), eErrorCommunications);
    EXPECT_TRUE(mLog.Has(ELogLevel::Error, "SendRequest Transmit failed: no way"));
}

TEST_F(CEventLinkTest, WhatCanNotBeSentIsRefusedWithoutTrying)
{
    mLink.SetRetryMode(eRetryFixed); // would never end
    CIpcMessage full = Message("PWR", 0);
    for (unsigned short key = 0; key < CIpcMessage::kMaxArgs; ++key)
        full.AddArg(key, "");
    EXPECT_EQ(mLink.SendCommand(2, full, mReply, 10), eErrorTooManyParameters);

    CIpcMessage large = Message("NME", 0);
    large.AddArg(0, std::string(4095 - 24 - 5, 'x'));
    EXPECT_EQ(mLink.SendCommand(2, large, mReply, 10), eErrorExceededListSize);
    EXPECT_EQ(Bytes(large).size(), 4095u) << "it lost what had been added";
    EXPECT_THAT(mClient->mSent, IsEmpty());

    for (const char* const code : {"", "AB", "1AB", "ABC+12", "ABC-1234"})
    {
        int value = 0;
        EXPECT_EQ(mLink.GetValue(2, code, value), eErrorControlNotFound) << code;
        EXPECT_EQ(mLink.SetText(2, code, ""), eErrorControlNotFound) << code;
        EXPECT_EQ(mLink.NotifyRegister(2, code), eErrorControlNotFound) << code;
    }
    EXPECT_EQ(mLink.SetText(2, "NME", std::string("a\0b", 3)), eErrorInvalidValue);
    EXPECT_THAT(mClient->mSent, IsEmpty());
}

TEST_F(CEventLinkTest, ManyRegistrationsGoInSeveralMessages)
{
    std::list<SControlSet> controls(250, SControlSet{"KST+TLPX", true});
    mClient->mReplies.assign(3, Reply());
    EXPECT_EQ(mLink.NotifyRegister(2, controls), eErrorNone);
    EXPECT_EQ(mClient->mSent.size(), 3u);
    mClient->mReplies.assign(2, ErrorReply(eErrorControlNotFound));
    EXPECT_EQ(mLink.NotifyUnregister(2, controls), eErrorControlNotFound);
    EXPECT_EQ(mClient->mSent.size(), 4u);
    mClient->mReplies.assign(1, Reply());
    mLink.NotifyRegister(2, {{"pwr", false}, {"nme", true}});
    EXPECT_EQ(mClient->mSent.back(), "NOT 0=\"A.notify\" 1=R\"PWR\" 2=W\"NME\" 231=2/3");
}

namespace
{
class CReluctantLink : public CEventLink
{
public:
    using CEventLink::CEventLink;
    void InitializeLink() override
    {
        if (++mTries == 3)
            CEventLink::InitializeLink();
    }
    int mTries = 0;
};
} // namespace

TEST_F(CEventLinkTest, ALinkThatIsNotReadyFailsTheAttempt)
{
    auto client = std::make_unique<CScriptedClient>();
    client->mReplies = {Reply(), Reply()};
    CReluctantLink link(mLog, std::move(client));
    link.SetSleep([](unsigned) {});
    int value = 0;
    EXPECT_EQ(link.GetValue(2, "PWR", value), eErrorCommunications);
    link.SetRetryMode(eRetryFixed);
    EXPECT_EQ(link.GetValue(2, "PWR", value), eErrorNone);
    EXPECT_EQ(link.GetValue(2, "PWR", value), eErrorNone);
    EXPECT_EQ(link.mTries, 3) << "once it is ready it stays so";
}

// --- Over sockets ------------------------------------------------------------------------------------------

namespace
{
class CEventLinkSocketTest : public CIpcFixture
{
protected:
    std::vector<std::string> Take(std::size_t count)
    {
        std::vector<std::string> shown;
        for (int i = 0; i < 500 && shown.size() < count; ++i)
        {
            pollfd ready{mLink.GetNotifyDescriptor(), POLLIN, 0};
            ::poll(&ready, 1, 10);
            for (std::string& line : ShowCollected([&](auto& all) { mLink.ProcessNotify(all); }))
                shown.push_back(std::move(line));
        }
        return shown;
    }
    std::unique_ptr<CServerThread> Serve()
    {
        return std::make_unique<CServerThread>(mDispatcher, mServer->GetDescriptor());
    }
    std::size_t CountFiles(const std::string& part) const
    {
        std::size_t count = 0;
        for (const auto& entry : std::filesystem::directory_iterator(mFolder.GetPath()))
            count += entry.path().filename().string().find(part) != std::string::npos ? 1 : 0;
        return count;
    }

    CRecordingLog mLinkLog; // the server writes to its own on another thread
    CEventLink mLink{mLinkLog, "te/st", mFolder.GetPath()};
};
} // namespace

TEST_F(CEventLinkSocketTest, TypedOperationsReachTheControls)
{
    auto server = Serve();
    EXPECT_EQ(mLink.SetValue(1, "pwr", 1), eErrorNone);
    EXPECT_EQ(mLink.SetText(1, "NME", "Größe"), eErrorNone);
    EXPECT_EQ(mLink.SetText(1, "PWR", "x"), eErrorWrongControlType);
    EXPECT_EQ(mLink.SetValue(1, "SVO", 1), eErrorAccessGroup);
    EXPECT_EQ(mLink.SetValue(2, "SVO", 1), eErrorNone);
    const struct
    {
        const char* mCode;
        EError mValueError;
        int mValue;
        EError mTextError;
        const char* mText; // of a choice the entry, which a person reads
    } cases[] = {
        {"PWR", eErrorNone, 1, eErrorNone, "1"},
        {"NME", eErrorWrongControlType, -1, eErrorNone, "Größe"},
        {"src", eErrorNone, 1, eErrorNone, "HDMI 2"},
        {"KST+TLPX", eErrorNone, 7, eErrorNone, "7"},
        {"MMM+MAIN", eErrorWrongControlType, -1, eErrorWrongControlType, ""},
        {"XYZ", eErrorControlNotFound, -1, eErrorControlNotFound, ""},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(row.mCode);
        int value = -1;
        std::string text;
        EXPECT_EQ(mLink.GetValue(1, row.mCode, value), row.mValueError);
        EXPECT_EQ(value, row.mValue);
        EXPECT_EQ(mLink.GetText(1, row.mCode, text), row.mTextError);
        EXPECT_EQ(text, row.mText);
    }
    EXPECT_TRUE(mLinkLog.Has(ELogLevel::Debug, "SendCommand successful, returned:0, PWR+"));
}

TEST_F(CEventLinkSocketTest, NotificationsArriveOnASocketOfTheLink)
{
    auto server = Serve();
    const std::string name = mLink.GetNotifySocketName();
    EXPECT_THAT(name, ::testing::MatchesRegex(mFolder.GetPath() + "/" + std::to_string(::getpid()) +
                                              "_te_st_[0-9]+\\.notify"));
    EXPECT_FALSE(std::filesystem::exists(name)) << "made when it is needed";
    EXPECT_EQ(mLink.NotifyRegister(1, "PWR", true), eErrorNone);
    EXPECT_EQ(mLink.NotifyRegister(1, {{"NME"}, {"SVO"}}), eErrorNone);
    EXPECT_THAT(Take(1), ElementsAre("PWR 0=0/3 240=1/3 241=0/3 242=1/3 243=0/3"));
    EXPECT_EQ(mLink.SetValue(2, "SVO", 1), eErrorNone);
    EXPECT_EQ(mLink.SetText(1, "NME", "Foyer"), eErrorNone);
    EXPECT_THAT(Take(1), ElementsAre("NME 0=\"Foyer\""));
    EXPECT_EQ(mLink.NotifyUnregister(1, "PWR"), eErrorNone);
    EXPECT_EQ(mLink.SetValue(1, "PWR", 1), eErrorNone);
    EXPECT_EQ(mLink.NotifyUnregisterAll(name), eErrorNone);
    EXPECT_EQ(mLink.SetText(1, "NME", "Hall"), eErrorNone);
    EXPECT_THAT(Take(0), IsEmpty());
}

TEST_F(CEventLinkSocketTest, ALinkLeavesNothingBehind)
{
    {
        auto server = Serve();
        CEventLink second(mLinkLog, "second", mFolder.GetPath());
        EXPECT_EQ(second.NotifyRegister(1, "PWR"), eErrorNone);
        EXPECT_EQ(CountFiles("second"), 2u) << "the connection and the notification socket";
    }
    Pump();
    EXPECT_EQ(CountFiles("second"), 0u);
    EXPECT_EQ(mDispatcher.GetNotificationManager().GetNotifyList("PWR").size(), 0u);
    for (const CRecordingLog::SLine& line : mLog.GetLines())
        EXPECT_EQ(line.mText.find("Unable to send"), std::string::npos) << line.mText;
}

TEST_F(CEventLinkSocketTest, ALateReplyNeverAnswersTheNextCommand)
{
    mLink.SetTimeout(20);
    int value = -1;
    EXPECT_EQ(mLink.GetValue(1, "KST+TLPX", value), eErrorTimeout) << "nobody serves yet";
    EXPECT_EQ(value, -1);
    auto server = Serve();
    mLink.SetTimeout(2000);
    EXPECT_EQ(mLink.GetValue(1, "PWR", value), eErrorNone);
    EXPECT_EQ(value, 0);
    CIpcMessage request = Request("KST+TLPX");
    std::list<CIpcMessage> replies;
    EXPECT_EQ(mLink.SendRequest(1, request, replies, 0), eErrorNone);
    EXPECT_EQ(mLink.GetValue(1, "PWR", value), eErrorNone);
    EXPECT_EQ(value, 0);
}

TEST_F(CEventLinkSocketTest, ARestartedControlProcessIsFoundAgain)
{
    int value = 0;
    auto server = Serve();
    EXPECT_EQ(mLink.NotifyRegister(1, "PWR", true), eErrorNone);
    EXPECT_EQ(Take(1).size(), 1u);
    EXPECT_FALSE(mLink.IsNotifyLost());
    server.reset();
    mServer.reset();
    EXPECT_EQ(mLink.GetValue(1, "PWR", value), eErrorCommunications);
    EXPECT_THAT(mLinkLog.GetLines().back().mText, ::testing::HasSubstr("SendRequest Transmit failed: "));
    Take(0);
    std::list<CIpcMessage> notifications;
    mLink.ProcessNotify(notifications);
    EXPECT_TRUE(mLink.IsNotifyLost());

    mServer = std::make_unique<CIpcEventDispatcher>(mDispatcher, mServerName, mLog);
    server = Serve();
    EXPECT_EQ(mLink.NotifyRegister(1, "PWR", true), eErrorNone);
    EXPECT_EQ(Take(1).size(), 1u);
    EXPECT_FALSE(mLink.IsNotifyLost());

    // a connection that was closed between two messages costs no message
    server.reset();
    mServer.reset();
    mServer = std::make_unique<CIpcEventDispatcher>(mDispatcher, mServerName, mLog);
    server = Serve();
    EXPECT_EQ(mLink.GetValue(1, "PWR", value), eErrorNone);
}

TEST_F(CEventLinkSocketTest, ANotificationSocketThatVanishedIsMadeAgain)
{
    const std::string name = mLink.GetNotifySocketName();
    const std::string vanished = "Notification socket " + name + " had vanished; made again";
    auto server = Serve();
    EXPECT_EQ(mLink.NotifyRegister(1, {{"PWR"}, {"PWR"}, {"NME"}, {"FN1"}}), eErrorNone);
    EXPECT_EQ(mLink.NotifyUnregister(1, "FN1"), eErrorNone);
    const int descriptor = mLink.GetNotifyDescriptor();
    std::filesystem::remove(name);
    EXPECT_EQ(mLink.GetNotifyDescriptor(), descriptor) << "a host keeps what it waits for";
    EXPECT_TRUE(std::filesystem::exists(name));
    EXPECT_EQ(mLink.SetValue(1, "PWR", 1), eErrorNone);
    EXPECT_THAT(Take(1), ElementsAre("PWR 0=1/3")) << "the connection outlived the file";

    // The control process ends and somebody clears the run directory.
    server.reset();
    mServer.reset();
    std::filesystem::remove_all(mFolder.GetPath());
    mLinkLog.Clear();
    EXPECT_EQ(mLink.NotifyRenew(), eErrorCommunications);
    EXPECT_EQ(mLink.NotifyRenew(), eErrorCommunications);
    ASSERT_EQ(mLinkLog.GetLines().size(), 1u) << "said once";
    EXPECT_THAT(mLinkLog.GetLines().front().mText, ::testing::HasSubstr("Unable to listen on " + name));
    mServer = std::make_unique<CIpcEventDispatcher>(mDispatcher, mServerName, mLog);
    server = Serve();
    EXPECT_EQ(mLink.NotifyRenew(), eErrorNone);
    EXPECT_THAT(Take(2), ElementsAre("NME 0=\"Hall\" 240=1/3 241=0/3 242=5000/4 243=0/3",
                                     "PWR 0=1/3 240=1/3 241=0/3 242=1/3 243=0/3"));
    EXPECT_EQ(mLinkLog.Count(vanished), 1u);
    EXPECT_EQ(mLink.NotifyRenew(), eErrorNone) << "without a loss nothing is counted twice";
    server.reset();
    EXPECT_EQ(mDispatcher.GetNotificationManager().GetCount("PWR", name), 2);
    EXPECT_EQ(mDispatcher.GetNotificationManager().GetCount("NME", name), 1);
    EXPECT_EQ(mDispatcher.GetNotificationManager().GetCount("FN1", name), 0);
    server = Serve(); // for the farewell
}

TEST_F(CEventLinkSocketTest, SeveralProcessesAtOnceAreAllServed)
{
    auto server = Serve();
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back(
            [&, i]
            {
                CRecordingLog log;
                log.SetLowest(ELogLevel::Error);
                CEventLink link(log, "busy", mFolder.GetPath());
                for (int n = 0; n < 200; ++n)
                {
                    int value = 0;
                    std::string text;
                    failures += link.SetValue(1, "KST+TLPX", 10 * i) == eErrorNone ? 0 : 1;
                    failures += link.GetValue(1, "FN1", value) == eErrorNone && value == 1200 ? 0 : 1;
                    failures += link.GetText(1, "NME", text) == eErrorNone && text == "Hall" ? 0 : 1;
                }
            });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(failures, 0);
}

TEST_F(CEventLinkSocketTest, WithoutAControlProcessEveryCallFailsWithASentence)
{
    CEventLink lost(mLinkLog, "lost", mFolder.File("none"));
    int value = 0;
    EXPECT_EQ(lost.GetValue(1, "PWR", value), eErrorCommunications);
    EXPECT_THAT(mLinkLog.GetLines().back().mText,
                ::testing::AllOf(::testing::HasSubstr("SendRequest Transmit failed: "),
                                 ::testing::HasSubstr("Unable to connect to " + mFolder.File("none") +
                                                      "/main_controller.socket"),
                                 ::testing::HasSubstr("No such file or directory")));
    EXPECT_EQ(lost.NotifyRegister(1, "PWR"), eErrorCommunications);
    EXPECT_EQ(lost.GetNotifyDescriptor(), -1);
}

TEST_F(CEventLinkSocketTest, SignalsNeitherBreakAnExchangeNorCutItShort)
{
    struct sigaction action
    {
    };
    action.sa_handler = [](int) {}; // without SA_RESTART: system calls are interrupted
    struct sigaction before
    {
    };
    ASSERT_EQ(::sigaction(SIGALRM, &action, &before), 0);
    const itimerval everyMillisecond{{0, 1000}, {0, 1000}};
    ::setitimer(ITIMER_REAL, &everyMillisecond, nullptr);

    const auto start = std::chrono::steady_clock::now();
    int value = 0;
    mLink.SetTimeout(60);
    const EError silent = mLink.GetValue(1, "PWR", value); // nobody serves yet
    const auto waited = std::chrono::steady_clock::now() - start;
    mLink.SetTimeout(2000);
    int failures = 0;
    {
        auto server = Serve();
        failures += mLink.NotifyRegister(1, "PWR") == eErrorNone ? 0 : 1;
        for (int i = 1; i <= 2000; ++i)
            failures += mLink.SetValue(1, "PWR", i % 2) == eErrorNone ? 0 : 1;
    }
    const itimerval never{};
    ::setitimer(ITIMER_REAL, &never, nullptr);
    ::sigaction(SIGALRM, &before, nullptr);

    EXPECT_EQ(silent, eErrorTimeout);
    EXPECT_GE(waited, std::chrono::milliseconds(60));
    EXPECT_EQ(failures, 0);
    EXPECT_THAT(Take(1), ::testing::Not(IsEmpty()));
}

TEST(EventLink, NamesAreCheckedAtTheStart)
{
    CRecordingLog log;
    CTemporaryFolder folder;
    const auto refusal = [&](const char* name, const std::string& directory) -> std::string
    {
        try
        {
            CEventLink link(log, name, directory);
            return link.GetNotifySocketName();
        }
        catch (const CException& e)
        {
            return e.GetMessage();
        }
    };
    const std::string missing = "Invalid socket name - a unique name must be specified";
    EXPECT_EQ(refusal("", folder.GetPath()), missing);
    EXPECT_EQ(refusal(nullptr, folder.GetPath()), missing);
    EXPECT_THAT(refusal(std::string(50, 'n').c_str(), folder.GetPath()),
                ::testing::HasSubstr("_" + std::string(38, 'n') + "_"));
    EXPECT_THAT(refusal("n", folder.File(std::string(100, 'd'))), ::testing::HasSubstr("is too long: "));
    EXPECT_NE(refusal("same", folder.GetPath()), refusal("same", folder.GetPath()));
}

// A control process that answers wrongly, or not at all, and then something else.
TEST(EventLink, AProcessThatSpeaksNonsenseIsLeft)
{
    CTemporaryFolder folder;
    CRecordingLog log;
    const CDescriptor listener =
        NIpcSocket::Listen(NIpcSocket::MakeServerName(folder.GetPath()), SOCK_STREAM);
    CEventLink link(log, "x", folder.GetPath());
    std::thread server(
        [&]
        {
            for (const std::string& answer : {std::string(30, 'n'), std::string()})
            {
                pollfd ready{listener.Get(), POLLIN, 0};
                ::poll(&ready, 1, 2000);
                const CDescriptor client(::accept(listener.Get(), nullptr, nullptr));
                char bytes[100];
                EXPECT_GT(::recv(client.Get(), bytes, sizeof bytes, 0), 0);
                ::send(client.Get(), answer.data(), answer.size(), MSG_NOSIGNAL);
            }
        });
    int value = 0;
    EXPECT_EQ(link.GetValue(1, "PWR", value), eErrorCommunications);
    EXPECT_THAT(log.GetLines().back().mText, ::testing::HasSubstr("sent what is no message"));
    EXPECT_EQ(link.GetValue(1, "PWR", value), eErrorCommunications);
    EXPECT_THAT(log.GetLines().back().mText, ::testing::HasSubstr("closed the connection"));
    server.join();
}
