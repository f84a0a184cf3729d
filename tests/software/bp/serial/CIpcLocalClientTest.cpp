// The way to the control process from inside it: nothing waits, and notifications call back.
#include "tests/software/bp/serial/CIpcFixture.h"

#include "software/bp/serial/CEventLink.h"
#include "software/bp/serial/CIpcLocalClient.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace
{
class CIpcLocalClientTest : public CIpcFixture
{
protected:
    CIpcLocalClientTest()
    {
        mLink.SetSleep([](unsigned) { FAIL() << "a link inside the control process never sleeps"; });
        mLink.SetRetryMode(eRetryFixed);
    }
    std::vector<std::string> Take()
    {
        return ShowCollected([&](auto& notifications) { mLink.ProcessNotify(notifications); });
    }

    CEventLink mLink{mLog, std::make_unique<CIpcLocalClient>(*mServer)};
};
} // namespace

TEST_F(CIpcLocalClientTest, MessagesAreAnsweredOnTheCallersThread)
{
    EXPECT_EQ(mLink.SetValue(1, "PWR", 1), eErrorNone);
    int value = 0;
    EXPECT_EQ(mLink.GetValue(1, "PWR", value), eErrorNone);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(mLink.SetValue(1, "SVO", 1), eErrorAccessGroup);
    EXPECT_EQ(mLink.SetValue(CEventLink::kNoAccessGroup, "SVO", 1), eErrorNone);

    CIpcMessage request = Request("SRC", 'L');
    std::list<CIpcMessage> replies;
    EXPECT_EQ(mLink.SendRequest(1, request, replies, 100), eErrorNone);
    EXPECT_EQ(replies.size(), 4u);
    EXPECT_EQ(Show(request), "SRC? 0=L0/3") << "the caller's message is as it was";

    CIpcMessage command = Command("XYZ");
    CIpcMessage reply;
    EXPECT_EQ(mLink.SendCommand(1, command, reply, 100), eErrorControlNotFound);
    EXPECT_EQ(Show(reply), "XYZ! 220=101/3 221=\"Control Not Found\"");
    EXPECT_EQ(mLink.SendCommand(1, command, reply, 0), eErrorNone) << "one-way: nobody hears of it";
}

TEST_F(CIpcLocalClientTest, NotificationsCallTheHandlerAtTheChangeItself)
{
    std::vector<std::string> told;
    mLink.SetNotifyHandler([&](const CIpcMessage& notification) { told.push_back(Show(notification)); });
    EXPECT_EQ(mLink.GetNotifySocketName(), "LOCAL.1");
    EXPECT_EQ(mLink.GetNotifyDescriptor(), -1);
    EXPECT_EQ(mLink.NotifyRegister(1, {{"PWR", true}, {"NME", false}}), eErrorNone);
    mName.SetText("Foyer");
    EXPECT_THAT(told, ElementsAre("PWR 0=0/3 240=1/3 241=0/3 242=1/3 243=0/3", "NME 0=\"Foyer\""));
    EXPECT_EQ(mLink.NotifyUnregisterAll("LOCAL.1"), eErrorNone);
    mPower.SetValue(1);
    EXPECT_EQ(told.size(), 2u);
}

TEST_F(CIpcLocalClientTest, WithoutAHandlerTheLatestOfEachKindIsKept)
{
    mLink.NotifyRegister(1, {{"PWR"}, {"KST+TLPX"}});
    for (int i = 0; i < 100; ++i)
        mPower.SetValue(i % 2);
    mKeystone.SetValue(1);
    mKeystone.SetReserved(true);
    mPower.SetValue(0);
    EXPECT_THAT(Take(), ElementsAre("KST+TLPX 0=1/3", "KST+TLPX 240=0/3", "PWR 0=0/3"));
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(CIpcLocalClientTest, AHandlerMayUseItsLinkWhileACallIsUnderWay)
{
    std::vector<std::string> told;
    mLink.SetNotifyHandler(
        [&](const CIpcMessage& notification)
        {
            told.push_back(Show(notification));
            int value = 0;
            EXPECT_EQ(mLink.GetValue(1, "KST+TLPX", value), eErrorNone);
            if (value < 100)
            {
                EXPECT_EQ(mLink.SetValue(1, "KST+TLPX", value + 1), eErrorNone);
            }
        });
    mLink.NotifyRegister(1, {{"PWR"}, {"KST+TLPX"}});
    CIpcMessage command = With(Command("PWR"), 1);
    CIpcMessage reply;
    EXPECT_EQ(mLink.SendCommand(1, command, reply, 100), eErrorNone);
    EXPECT_EQ(Show(reply), "PWR! 0=1/3") << "not the reply to a message of the handler";
    EXPECT_EQ(told.size(), CEventDispatcher::kMaxNesting) << "the nesting has an end";
}

TEST_F(CIpcLocalClientTest, AHandlerMayFailOrEndItsOwnLink)
{
    auto second = std::make_unique<CEventLink>(mLog, std::make_unique<CIpcLocalClient>(*mServer));
    second->SetNotifyHandler([&](const CIpcMessage&) { second.reset(); });
    second->NotifyRegister(1, "PWR");
    mLink.SetNotifyHandler([](const CIpcMessage&) { throw std::runtime_error("handler broken"); });
    mLink.NotifyRegister(1, "PWR");
    EXPECT_EQ(mPower.SetValue(1), 0u);
    EXPECT_EQ(second, nullptr);
    EXPECT_TRUE(mLog.Has(ELogLevel::Error, "Unable to send notification to LOCAL.1. handler broken"));
    EXPECT_EQ(mDispatcher.GetNotificationManager().GetNotifyList("PWR").size(), 1u);
}
