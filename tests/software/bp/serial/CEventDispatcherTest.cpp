#include "tests/software/bp/serial/CControlCoreFixture.h"

#include "software/utility/CException.h"
#include "software/utility/CTextCatalog.h"
#include "tests/support/CTemporaryFolder.h"

#include <fstream>
#include <memory>

using testing::ElementsAre;
using testing::IsEmpty;

class EventDispatcher : public CControlCoreFixture
{
};

TEST_F(EventDispatcher, FindsControlsByCodeUntilTheyAreRemovedOrGone)
{
    EXPECT_EQ(mDispatcher.GetControl("BRI"), nullptr);
    {
        CProjCon control = Integer(0, 10, 5);
        EXPECT_EQ(mDispatcher.GetControl("BRI"), &control);
        EXPECT_EQ(mDispatcher.GetControl("bri"), nullptr); // front ends upper-case
        mDispatcher.RemoveControl("BRI");
        EXPECT_EQ(mDispatcher.GetControl("BRI"), nullptr);
        EXPECT_TRUE(mDispatcher.AddControl(control));
        EXPECT_FALSE(mDispatcher.AddControl(control));
    }
    EXPECT_EQ(mDispatcher.GetControl("BRI"), nullptr); // its owner forgot to remove it
}

TEST_F(EventDispatcher, AControlThatReplacedAnotherStaysWhenTheOtherGoes)
{
    auto first = std::make_unique<CProjCon>(eDisplayInteger, mDispatcher, mProxy, "BRI", false, 0, 1, 0,
                                            eAccessOperator, 0, 0, 0, false);
    mDispatcher.RemoveControl("BRI");
    CProjCon second = Integer(0, 10, 5);
    first.reset();
    EXPECT_EQ(mDispatcher.GetControl("BRI"), &second);
}

TEST_F(EventDispatcher, ACodeWhoseControlFailedAfterRegistrationIsTakenButEmpty)
{
    EXPECT_THROW(Text(0, 0, "999.1.1.1", eDisplayIpAddress), CException);
    ASSERT_EQ(mDispatcher.GetControls().count("NME"), 1u);
    EXPECT_EQ(mDispatcher.GetControl("NME"), nullptr);
    EXPECT_THROW(Text(0, 8, "again"), CException);
    mDispatcher.RemoveControl("NME");
    EXPECT_NO_THROW(Text(0, 8, "again"));
}

TEST_F(EventDispatcher, TellsBothFrontEndsOnceForEachAddressLocalOnesFirst)
{
    CRecordingNotifier ipc;
    std::vector<const char*> order;
    ipc.mOnNotify = [&](const CProjCon&) { order.push_back("ipc"); };
    mNotifier.mOnNotify = [&](const CProjCon&) { order.push_back("json"); };
    mDispatcher.SetIpcServer(&ipc);
    CProjCon control = Integer(0, 10, 5);
    CNotificationManager& manager = mDispatcher.GetNotificationManager();
    for (const char* address : {"JSON_TCP.2", "a.notify", "JSON_TCP.1", "JSON_TCP.2"})
        manager.NotifyRegister("BRI", address);

    control.SetValue(7);
    EXPECT_THAT(ipc.Take(), ElementsAre("BRI 1 7 a.notify"));
    EXPECT_THAT(mNotifier.Take(), ElementsAre("BRI 1 7 JSON_TCP.2 JSON_TCP.1"));
    EXPECT_THAT(order, ElementsAre("ipc", "json"));

    manager.NotifyUnregisterAll("a.notify"); // a front end without recipients is not asked
    control.SetValue(8);
    EXPECT_THAT(ipc.Take(), IsEmpty());
    EXPECT_THAT(mNotifier.Take(), ElementsAre("BRI 1 8 JSON_TCP.2 JSON_TCP.1"));

    mDispatcher.Update();
    EXPECT_EQ(ipc.mProcessed, 1);
    mDispatcher.SetIpcServer(nullptr);
    mDispatcher.Update();
}

TEST_F(EventDispatcher, ChangesAndSubscriptionsInsideANotificationAreSafe)
{
    CProjCon control = Integer(0, 10, 0);
    Watch("BRI");
    CNotificationManager& manager = mDispatcher.GetNotificationManager();
    mNotifier.mOnNotify = [&](const CProjCon& changed)
    {
        manager.NotifyUnregisterAll("JSON_TCP.1");
        manager.NotifyRegister("BRI", "JSON_TCP.2");
        if (changed.GetValue() < 2)
            control.SetValue(changed.GetValue() + 1);
    };
    control.SetValue(1);
    EXPECT_THAT(mNotifier.Take(), ElementsAre("BRI 1 1 JSON_TCP.1", "BRI 1 2 JSON_TCP.2"));
    EXPECT_EQ(control.GetValue(), 2);
}

TEST_F(EventDispatcher, ChangesThatCauseEachOtherForEverAreStoredButNoLongerAnnounced)
{
    CProjCon control = Integer(0, 1000, 0);
    Watch("BRI");
    mNotifier.mOnNotify = [&](const CProjCon& changed) { control.SetValue(changed.GetValue() + 1); };
    control.SetValue(1);
    EXPECT_EQ(mNotifier.Take().size(), CEventDispatcher::kMaxNesting);
    EXPECT_EQ(control.GetValue(), static_cast<int>(CEventDispatcher::kMaxNesting) + 1);
    EXPECT_TRUE(
        mLog.Has(ELogLevel::Error,
                 "BRI: change not announced, 8 changes are already being announced inside one another"));
    mNotifier.mOnNotify = nullptr;
    control.SetValue(500);
    EXPECT_THAT(mNotifier.Take(), ElementsAre(Line("BRI 1 500")));
}

TEST_F(EventDispatcher, AFrontEndThatThrowsFailsNoChange)
{
    CProjCon control = Integer(0, 10, 0);
    Watch("BRI");
    mNotifier.mOnNotify = [](const CProjCon&) { throw std::runtime_error("no memory"); };
    EXPECT_EQ(control.SetValue(3), 0u);
    EXPECT_TRUE(mLog.Has(ELogLevel::Error, "BRI: change not announced to everybody: no memory"));
}

TEST_F(EventDispatcher, TextsComeFromTheCatalogueOfTheMoment)
{
    CProjCon control(eDisplayInteger, mDispatcher, mProxy, "BRI", false, 0, 1, 0, eAccessOperator, 1001, 0, 0,
                     false);
    EXPECT_EQ(control.GetNameText(), "#1001");
    EXPECT_EQ(control.GetHelpText(), "");
    const CTemporaryFolder folder;
    std::ofstream(folder.File("de.json")) << R"({"1001": "Helligkeit"})";
    CTextCatalog german;
    german.Load(folder.File("de.json"));
    mDispatcher.SetTextCatalog(&german);
    EXPECT_EQ(control.GetNameText(), "Helligkeit");
    mDispatcher.SetTextCatalog(nullptr);
    EXPECT_EQ(control.GetNameText(), "#1001");
}
