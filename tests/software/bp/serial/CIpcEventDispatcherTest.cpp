// What commands, requests and registrations are answered.
#include "tests/software/bp/serial/CIpcFixture.h"

#include "software/bp/serial/CCustomEventHandler.h"

#include <functional>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace
{
CIpcMessage As(int accessGroup, CIpcMessage message)
{
    message.AddArg(eIpcArgAccessGroup, accessGroup);
    return message;
}

class CScriptedHandler : public CCustomEventHandler
{
public:
    CScriptedHandler(CEventDispatcher& dispatcher, const std::string& code)
        : CCustomEventHandler(dispatcher, code, false)
    {
    }
    std::function<bool(const CIpcMessage&, CIpcMessage&)> mCommand;
    std::function<bool(const CIpcMessage&, std::list<CIpcMessage>&)> mRequest;

protected:
    bool HandleIpcCommand(const CIpcMessage& command, CIpcMessage& reply) override
    {
        return mCommand(command, reply);
    }
    bool HandleIpcRequest(const CIpcMessage& request, std::list<CIpcMessage>& replies) override
    {
        return mRequest(request, replies);
    }
};

class CIpcEventDispatcherTest : public CIpcFixture
{
};
} // namespace

TEST_F(CIpcEventDispatcherTest, CommandsAreAnsweredWithTheValueAfterwards)
{
    CIpcMessage modified = Command("PWR");
    modified.AddArg(0, 1, eParmText, 'D');
    CIpcMessage unreadable = Command("PWR");
    unreadable.AddArg(0, "12x");
    CIpcMessage glued = Command("KST+TLPX");
    glued.AddArg(0, -3, static_cast<EParmFlags>(eParmNumber | eParmDelimiter | 3));

    const std::pair<CIpcMessage, std::string> cases[] = {
        {With(Command("PWR"), 1), "PWR! 0=1/3"},
        {With(Command("KST+TLPX"), 12345), "KST+TLPX! 0=400/3"},
        {glued, "KST+TLPX! 0=-3/3"},
        {With(Command("NME"), "Hall 2"), "NME! 0=\"Hall 2\""},
        {With(Command("SRC"), 0), "SRC! 0=0/3"},
        {Command("RST"), "RST! 0=0/3"},
        {With(Command("MMM+MAIN"), 5), "MMM+MAIN! 0=0/3"},
        // refused by the control: the value it still has goes with the error
        {With(Command("SRC"), 2), "SRC! 0=0/3 220=104/3 221=\"Invalid Value\""},
        {With(Command("SRC"), 3), "SRC! 0=0/3 220=105/3 221=\"Disabled Control\""},
        {With(Command("PWR"), "on"), "PWR! 0=1/3 220=103/3 221=\"Wrong Control Type\""},
        {With(Command("NME"), 5), "NME! 0=\"Hall 2\" 220=103/3 221=\"Wrong Control Type\""},
        {With(Command("NME"), "\xC3("), "NME! 0=\"Hall 2\" 220=104/3 221=\"Invalid Value\""},
        // refused before it is asked
        {With(Command("XYZ"), 1), "XYZ! 220=101/3 221=\"Control Not Found\""},
        {With(Command("KST+NONE"), 1), "KST+NONE! 220=101/3 221=\"Control Not Found\""},
        {With(Command("KST"), 1), "KST! 220=101/3 221=\"Control Not Found\""},
        {With(Command("FN1"), 1), "FN1! 220=105/3 221=\"This control is read-only\""},
        {modified, "PWR! 220=9/3 221=\"Unsupported modifier\""},
        {Command("PWR"), "PWR! 220=5/3 221=\"Too Few Parameters\""},
        {With(Command("PWR"), 1, 1), "PWR! 220=5/3 221=\"Too Few Parameters\""},
    };
    for (const auto& [command, reply] : cases)
    {
        SCOPED_TRACE(Show(command));
        EXPECT_EQ(HandleOne(command), reply);
    }
    EXPECT_TRUE(mLog.Has(ELogLevel::Warning, "XYZ NOT FOUND!"));
    EXPECT_TRUE(mLog.Has(ELogLevel::Warning, "KST+NONE NOT FOUND!"));
}

TEST_F(CIpcEventDispatcherTest, ACommandOnAnActionCallsTheHardware)
{
    HandleOne(Command("RST"));
    EXPECT_THAT(mProxy.Take(), ElementsAre("RST=0"));
    mProxy.mAccepts = false;
    EXPECT_EQ(HandleOne(With(Command("PWR"), 1)), "PWR! 0=0/3 220=112/3 221=\"Failed to set Hardware\"");
}

// On the wire a number can be marked as one and hold something else.
TEST_F(CIpcEventDispatcherTest, ANumberThatIsNoneIsAnInvalidValue)
{
    std::string bytes = Bytes(With(Command("PWR"), 123));
    bytes.replace(bytes.find("123"), 3, "12x");
    CIpcMessage command;
    command.DeserializeMessage(reinterpret_cast<const unsigned char*>(bytes.data()), "peer");
    EXPECT_EQ(HandleOne(command), "PWR! 0=0/3 220=104/3 221=\"Invalid Value\"");
}

TEST_F(CIpcEventDispatcherTest, EveryModifierSelectsItsAnswer)
{
    mKeystone.SetProgEnabled(false);
    const std::string unsupported = "! 220=9/3 221=\"Unsupported modifier\"";
    const struct
    {
        const char* mCode;
        char mModifier;
        std::string mReply;
    } cases[] = {
        {"KST+TLPX", 0, "KST+TLPX! 0=7/3"},
        {"PWR", 0, "PWR! 0=0/3"},
        {"NME", 0, "NME! 0=\"Hall\""},
        {"SRC", 0, "SRC! 0=1/3 1=\"HDMI 2\""},
        {"RST", 0, "RST! 0=0/3"},
        {"FN1", 0, "FN1! 0=1200/4"},
        {"MMM+MAIN", 0, "MMM+MAIN! 220=103/3 221=\"This control can not be read\""},
        {"KST+TLPX", 'D', "KST+TLPX! 0=7/3"},
        {"NME", 'D', "NME! 0=\"Hall\""},
        {"KST+TLPX", 'E', "KST+TLPX! 0=1/3"},
        {"PWR", 'E', "PWR! 0=0/3"},
        {"SVO", 'G', "SVO! 0=6/3"},
        {"PWR", 'H', "PWR! 0=12/3"},
        {"KST+TLPX", 'M', "KST+TLPX! 0=-400/3 1=400/3"},
        {"NME", 'M', "NME! 0=0/3 1=5000/4"},
        {"PWR", 'N', "PWR! 0=11/3"},
        {"MMM+MAIN", 'T', "MMM+MAIN! 0=600/3"},
        {"PWR", 'C', "PWR! 0=0/3"},
        {"PWR", 'L', "PWR! 220=103/3 221=\"Invalid list / Not a list control\""},
        {"PWR", 'X', "PWR" + unsupported},
        {"PWR", 'd', "PWR" + unsupported},
        {"XYZ", 'M', "XYZ! 220=101/3 221=\"Control Not Found\""},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(std::string(row.mCode) + " " + row.mModifier);
        EXPECT_EQ(HandleOne(Request(row.mCode, row.mModifier)), row.mReply);
    }
}

TEST_F(CIpcEventDispatcherTest, AListIsToldEntryByEntryAndHasAnEnd)
{
    EXPECT_THAT(Handle(Request("SRC", 'L')), ElementsAre("SRC! 0=L1/3 1=1/3 2=0/5 3=\"HDMI 1\" ...",
                                                         "SRC! 0=L1/3 1=1/3 2=1/5 3=\"HDMI 2\" ...",
                                                         "SRC! 0=L0/3 1=0/3 2=3/5 3=\"SDI\" ...",
                                                         "SRC! 0=L0/3 1=0/3 2=111/5 3=\"--END--\""));
    mSource.ClearList();
    EXPECT_EQ(HandleOne(Request("SRC", 'L')), "SRC! 0=L0/3 1=0/3 2=111/5 3=\"--END--\"");
    EXPECT_EQ(HandleOne(Request("SRC")), "SRC! 0=1/3 1=\"\"");
}

TEST_F(CIpcEventDispatcherTest, ProtectedControlsNeedTheLevel)
{
    const std::string refused = "SVO! 220=117/3 221=\"Invalid Access Group\"";
    CIpcMessage noNumber = Request("SVO");
    noNumber.AddArg(eIpcArgAccessGroup, "6");
    const std::pair<CIpcMessage, std::string> cases[] = {
        {Request("SVO"), "SVO! 0=5/3"}, // the controller itself
        {As(1, Request("SVO")), refused},
        {As(2, Request("SVO")), "SVO! 0=5/3"},
        {As(6, Request("SVO", 'M')), "SVO! 0=-50/3 1=50/3"},
        {As(1, Request("SVO", 'M')), refused},
        {noNumber, refused},
        {As(-1, Request("SVO")), refused},
        {As(1, With(Command("SVO"), 9)), refused},
        {As(2, With(Command("SVO"), 9)), "SVO! 0=9/3"},
        {As(1, With(Command("PWR"), 1)), "PWR! 0=1/3"},
    };
    for (const auto& [message, reply] : cases)
    {
        SCOPED_TRACE(Show(message));
        EXPECT_EQ(HandleOne(message), reply);
    }
}

TEST_F(CIpcEventDispatcherTest, OnlyWhoWantsAReplyGetsOne)
{
    EXPECT_THAT(Handle(With(Message("PWR", 0), 1)), IsEmpty());
    EXPECT_EQ(mPower.GetValue(), 1);
    EXPECT_THAT(Handle(With(Message("PWR", eFlagReply | eFlagReplyWanted), 0)), IsEmpty());
    EXPECT_EQ(mPower.GetValue(), 1) << "a reply is no command";
    EXPECT_THAT(Handle(Message("PWR", eFlagRequest)), ElementsAre("PWR! 0=1/3"));
}

TEST_F(CIpcEventDispatcherTest, AReplyGoesBackToTheSenderOfTheSerialLine)
{
    CIpcMessage request = Request("PWR");
    request.SetFlag(eFlagChecksum);
    request.SetSource(17);
    request.SetDestination(5);
    std::list<CIpcMessage> replies;
    mServer->ProcessRequests(request, replies);
    EXPECT_EQ(replies.front().GetDestination(), 17);
    EXPECT_EQ(replies.front().GetSource(), 5);
    EXPECT_EQ(replies.front().GetFlags(), eFlagReply | eFlagChecksum);
}

TEST_F(CIpcEventDispatcherTest, WhatFitsIntoNoMessageIsError107)
{
    mName.SetText(std::string(4095 - 24 - 5, 'x'));
    EXPECT_EQ(HandleOne(Request("NME")).size(), std::string("NME! 0=\"\"").size() + 4095 - 24 - 5);
    mName.SetText(std::string(4095 - 24 - 4, 'x'));
    EXPECT_EQ(HandleOne(Request("NME")), "NME! 220=107/3 221=\"Exceeded List Size\"");

    // of several replies none is left
    mSource.AddList({Entry(1, "short"), Entry(2, std::string(4090, 'y'))});
    EXPECT_EQ(HandleOne(Request("SRC", 'L')), "SRC! 220=107/3 221=\"Exceeded List Size\"");
}

TEST_F(CIpcEventDispatcherTest, ASubCodeThatFitsInNoMessageIsNeverFound)
{
    CIpcMessage request = Request("PWR");
    request.SetCode("ABC");
    for (const char* const subCode : {"12\0\0", "12  ", "0012"})
    {
        request.SetSubCode(std::string(subCode, 4));
        EXPECT_THAT(HandleOne(request), ::testing::HasSubstr("220=101"));
    }
    CIpcMessage neverGiven; // code and sub-code as they are built
    neverGiven.SetFlags(eFlagRequest);
    EXPECT_THAT(HandleOne(neverGiven), ::testing::HasSubstr("!!!! 220=101"));
    neverGiven.SetCode("PWR");
    EXPECT_THAT(HandleOne(neverGiven), "PWR! 0=0/3");
}

TEST_F(CIpcEventDispatcherTest, ACustomHandlerComesFirst)
{
    CScriptedHandler handler(mDispatcher, "PWR");
    bool takes = true;
    handler.mCommand = [&](const CIpcMessage& command, CIpcMessage& reply)
    {
        EXPECT_EQ(Show(command), "PWR 0=1/3") << "the access group is not the handler's business";
        reply.AddArg(5, 55);
        return takes;
    };
    handler.mRequest = [&](const CIpcMessage&, std::list<CIpcMessage>& replies)
    {
        replies.emplace_back(Message("PWR", eFlagReply)).AddArg(1, "first");
        replies.emplace_back(Message("PWR", eFlagReply | eFlagMoreFollows)).AddArg(1, "last");
        return takes;
    };
    EXPECT_EQ(HandleOne(As(1, With(Command("PWR"), 1))), "PWR! 5=55/3");
    EXPECT_THAT(Handle(Request("PWR")), ElementsAre("PWR! 1=\"first\" ...", "PWR! 1=\"last\""));

    takes = false; // what it began is forgotten
    EXPECT_EQ(HandleOne(As(1, With(Command("PWR"), 1))), "PWR! 0=1/3");
    EXPECT_EQ(HandleOne(Request("PWR")), "PWR! 0=1/3");

    handler.mRequest = [](const CIpcMessage&, std::list<CIpcMessage>&) { return true; };
    EXPECT_EQ(HandleOne(Request("PWR")), "PWR!") << "whoever asked waits for something";
    handler.mCommand = [](const CIpcMessage&, CIpcMessage&) -> bool { throw std::runtime_error("broken"); };
    EXPECT_EQ(HandleOne(With(Command("PWR"), 1)), "PWR! 220=132/3 221=\"Request threw exception\"");
    EXPECT_TRUE(mLog.Has(ELogLevel::Error, "PWR: broken"));
}

namespace
{
struct SCode
{
    const char* mCode;
    char mModifier;
};

CIpcMessage Registration(const std::string& address, std::initializer_list<SCode> codes)
{
    CIpcMessage message = Command("NOT");
    message.AddArg(0, address);
    unsigned short key = 1;
    for (const SCode& code : codes)
        message.AddArg(key++, code.mCode, static_cast<unsigned char>(code.mModifier));
    return message;
}
} // namespace

TEST_F(CIpcEventDispatcherTest, RegistrationsThatAreRefusedChangeNothing)
{
    const std::string here = mFolder.File("1_x_0.notify"); // nobody listens there
    const std::string local = mServer->AddLocalRecipient([](const CIpcMessage&) {});
    CIpcMessage number = Registration(local, {});
    number.AddArg(1, 17);
    CIpcMessage numberFirst = Command("NOT");
    numberFirst.AddArg(0, 3);
    numberFirst.AddArg(1, "PWR", 'R');
    CIpcMessage keyless = Command("NOT");
    keyless.AddArg(1, "PWR", 'R');
    keyless.AddArg(2, "PWR", 'R');

    const std::pair<CIpcMessage, std::string> cases[] = {
        {Command("NOT"), "5: Needs at least 2 arguments (0)"},
        {As(2, Registration(local, {})), "5: Needs at least 2 arguments (1)"},
        {keyless, "5: Needs at least 2 arguments (2)"},
        {number, "3: Invalid (non-text) argument 17"},
        {numberFirst, "3: Invalid (non-text) argument 3"},
        {Registration(local, {{"PWR", 'R'}, {"XYZ", 'R'}}), "101: XYZ NOT FOUND!"},
        {Registration(local, {{"PWR", 'R'}, {"P", 'R'}}), "101: P NOT FOUND!"},
        {Registration(local, {{"PWR", 'R'}, {"ABC+12", 'W'}}), "101: ABC+12 NOT FOUND!"},
        {Registration(local, {{"PWR", 'R'}, {"*", 'R'}}), "101: * NOT FOUND!"},
        {Registration(local, {{"PWR", 'R'}, {"SRC", 0}}), "9: Unsupported modifier"},
        {Registration(local, {{"PWR", 'R'}, {"SRC", 'w'}}), "9: Unsupported modifier"},
        {Registration("JSON_TCP.1", {{"PWR", 'R'}}), "3: Invalid address JSON_TCP.1"},
        {Registration("", {{"PWR", 'R'}}), "3: Invalid address "},
        {Registration("LOCAL.9", {{"PWR", 'R'}}), "3: Invalid address LOCAL.9"},
        {Registration("/tmp/1_x_0.notify", {{"PWR", 'R'}}), "3: Invalid address /tmp/1_x_0.notify"},
        {Registration(mServerName, {{"PWR", 'R'}}), "3: Invalid address " + mServerName},
        {Registration(mFolder.File("JSON_TCP.notify"), {{"PWR", 'R'}}),
         "3: Invalid address " + mFolder.File("JSON_TCP.notify")},
        {Registration(mFolder.File("x/../1.notify"), {{"PWR", 'R'}}),
         "3: Invalid address " + mFolder.File("x/../1.notify")},
        {Registration(std::string(3000, 'a'), {{"PWR", 'R'}}), "3: Invalid address " + std::string(107, 'a')},
        {Registration(here, {{"PWR", 'R'}}),
         "111: Unable to send notification to " + here + ". No such file or directory"},
    };
    for (const auto& [message, refusal] : cases)
    {
        SCOPED_TRACE(refusal);
        const SIpcRegistration result = mServer->ProcessNotificationRequests(message);
        EXPECT_EQ(std::to_string(result.mError) + ": " + result.mText.substr(27), refusal);
        EXPECT_EQ(result.mText.substr(0, 27), "Notification System Error: ");
        EXPECT_TRUE(mLog.Has(ELogLevel::Warning, result.mText));
        EXPECT_EQ(mDispatcher.GetNotificationManager().GetNotifyList("PWR").size(), 0u);
    }
    EXPECT_EQ(HandleOne(Command("NOT")),
              "NOT! 220=5/3 221=\"Notification System Error: Needs at least 2 arguments (0)\"");
}

TEST_F(CIpcEventDispatcherTest, RegistrationsAreCounted)
{
    CNotificationManager& manager = mDispatcher.GetNotificationManager();
    const std::string local = mServer->AddLocalRecipient([](const CIpcMessage&) {});
    EXPECT_EQ(HandleOne(Registration(local, {{"pwr", 'R'}, {"KST+TLPX", 'W'}, {"PWR", 'R'}})), "NOT!");
    EXPECT_EQ(manager.GetCount("PWR", local), 2);
    EXPECT_EQ(manager.GetCount("KST+TLPX", local), 1);
    EXPECT_EQ(HandleOne(Registration(local, {{"PWR", 'U'}, {"SRC", 'R'}})), "NOT!");
    EXPECT_EQ(manager.GetCount("PWR", local), 1);
    EXPECT_EQ(HandleOne(Registration(local, {{"*", 'U'}})), "NOT!");
    EXPECT_THAT(manager.GetSubscriptions(local), IsEmpty());

    // a caller without the level is registered on what it may see
    EXPECT_EQ(HandleOne(As(1, Registration(local, {{"SVO", 'R'}, {"PWR", 'R'}}))), "NOT!");
    EXPECT_EQ(manager.GetCount("SVO", local), 0);
    EXPECT_EQ(manager.GetCount("PWR", local), 1);
    EXPECT_EQ(HandleOne(As(2, Registration(local, {{"SVO", 'R'}}))), "NOT!");
    EXPECT_EQ(manager.GetCount("SVO", local), 1);

    mServer->RemoveLocalRecipient(local);
    EXPECT_THAT(manager.GetSubscriptions(local), IsEmpty());
}

TEST_F(CIpcEventDispatcherTest, ALocalRecipientIsClosedToProcessesOutside)
{
    const std::string local = mServer->AddLocalRecipient([](const CIpcMessage&) {});
    CRawClient client(mServerName);
    EXPECT_THAT(Ask(client, Registration(local, {{"PWR", 'R'}})),
                ElementsAre("NOT! 220=3/3 221=\"Notification System Error: Invalid address LOCAL.1\""));
}

TEST_F(CIpcEventDispatcherTest, NotificationsTellWhatChanged)
{
    std::vector<std::string> told;
    const std::string local =
        mServer->AddLocalRecipient([&](const CIpcMessage& message) { told.push_back(Show(message)); });
    HandleOne(Registration(local, {{"KST+TLPX", 'W'}, {"NME", 'W'}, {"SRC", 'R'}}));
    EXPECT_THAT(told, ElementsAre("KST+TLPX 0=7/3 240=1/3 241=-400/3 242=400/3 243=0/3",
                                  "NME 0=\"Hall\" 240=1/3 241=0/3 242=5000/4 243=0/3"));
    told.clear();
    mKeystone.SetValue(9);
    mKeystone.SetRange(-10, 10);
    mKeystone.SetReserved(true);
    mName.SetText("Foyer");
    mSource.AddList({Entry(1, "one")});
    mUncarried.SetValue(1);
    EXPECT_THAT(told, ElementsAre("KST+TLPX 0=9/3", "KST+TLPX 241=-10/3 242=10/3", "KST+TLPX 240=0/3",
                                  "NME 0=\"Foyer\"", "SRC 243=1/3"));
    for (const char* const line :
         {"Notifying with value: KST+TLPX 9", "Notifying with min/max: KST+TLPX -10/10",
          "Notifying with enabled: KST+TLPX 0", "Notifying with text: NME Foyer",
          "Notifying with list rebuild: SRC size:1"})
        EXPECT_TRUE(mLog.Has(ELogLevel::Debug, line)) << line;

    mDispatcher.GetNotificationManager().NotifyRegister("ABC+12", local);
    told.clear();
    mUncarried.SetValue(0);
    EXPECT_THAT(told, IsEmpty()) << "no message can carry that sub-code";
}
