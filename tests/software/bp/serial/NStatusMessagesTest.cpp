// The status requests of the local IPC, and the typed operations that make them.
#include "software/bp/serial/NStatusMessages.h"

#include "software/bp/serial/CEventLink.h"
#include "software/bp/serial/CIpcLocalClient.h"
#include "software/bp/status/CStatusDb.h"
#include "tests/software/bp/serial/CIpcFixture.h"

namespace
{
class StatusMessages : public CIpcFixture
{
protected:
    StatusMessages()
    {
        mStatus.AddGroup("Fans", "fans.png");
        mStatus.AddGroup("Lens");
        mStatus.AddItem("Fans", 0, "Fan 1", 1);
        mStatus.AddItem("Fans", -3, "Fan 2");
        mStatus.Set("Fans", 0, eStatusAlarm, "0 rpm");
        mServer->SetStatusDb(&mStatus);
    }

    static CIpcMessage Ask(const std::string& name) { return Flagged(NStatusMessages::MakeRequest(name)); }
    static CIpcMessage Ask(const std::string& name, int index)
    {
        return Flagged(NStatusMessages::MakeRequest(name, &index));
    }
    static CIpcMessage Flagged(CIpcMessage&& request)
    {
        request.SetFlags(eFlagRequest);
        return std::move(request);
    }

    CStatusDb mStatus{mLog};
};
} // namespace

TEST_F(StatusMessages, EveryItemIsOneReply)
{
    const std::string first = R"(SST! 0=-3/3 1="Fans" 2=0/3 3="" 4="Fan 2")";
    const std::string second = R"(SST! 0=0/3 1="Fans" 2=2/3 3="0 rpm" 4="Fan 1")";
    const std::string unknownGroup = R"(SST! 220=9/3 221="Cannot find status group")";
    const std::string unknownItem = R"(SST! 220=9/3 221="Cannot find status group or item")";
    CIpcMessage textIndex = Ask("Fans");
    textIndex.AddArg(1, "0");
    CIpcMessage withLevel = Ask("Fans", 0);
    withLevel.AddArg(eIpcArgAccessGroup, 1);
    const std::pair<CIpcMessage, std::vector<std::string>> cases[] = {
        {Ask("Fans"), {first + " ...", second}},
        {Ask("Fans", 0), {second}},
        {withLevel, {second}},
        {Ask("Lens"), {"SST!"}},
        {Ask("SUMM"),
         {R"(SST! 0=0/3 1="Fans" 2=2/3 3="fans.png" 4="" ...)", R"(SST! 0=1/3 1="Lens" 2=0/3 3="" 4="")"}},
        {Ask("ALRM"), {second}},
        {Ask("fans"), {unknownGroup}},
        {Ask(""), {unknownGroup}},
        {Ask("Fans", 1), {unknownItem}},
        {Ask("Lens", 0), {unknownItem}},
        {Ask("fans", 0), {unknownItem}},
        {textIndex, {unknownItem}},
        {Request("SST"), {R"(SST! 220=5/3 221="Missing status group")"}},
        {Command("SST"), {R"(SST! 220=101/3 221="Control Not Found")"}},
    };
    for (const auto& [request, replies] : cases)
    {
        SCOPED_TRACE(Show(request));
        EXPECT_EQ(Handle(request), replies);
    }
    mStatus.Set("Fans", 0, eStatusOk, "900 rpm");
    EXPECT_EQ(HandleOne(Ask("ALRM")), "SST!");
    mServer->SetStatusDb(nullptr);
    EXPECT_EQ(HandleOne(Ask("Fans")), R"(SST! 220=101/3 221="Control Not Found")");
}

TEST_F(StatusMessages, TypedOperationsReadThemBack)
{
    CEventLink link(mLog, std::make_unique<CIpcLocalClient>(*mServer));
    constexpr int kNobody = CEventLink::kNoAccessGroup;
    std::vector<SStatusGroup> groups;
    EXPECT_EQ(link.GetStatus(kNobody, groups), eErrorNone);
    ASSERT_EQ(groups.size(), 2u);
    EXPECT_EQ(groups[0].mGroup + groups[0].mIcon, "Fansfans.png");
    EXPECT_EQ(groups[0].mStatus, eStatusAlarm);

    std::vector<SStatus> items;
    EXPECT_EQ(link.GetStatusGroup(1, "Fans", items), eErrorNone);
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(items[1].mDescription + items[1].mValue, "Fan 10 rpm");
    EXPECT_EQ(link.GetStatusGroup(kNobody, "Lens", items), eErrorNone);
    EXPECT_TRUE(items.empty());
    EXPECT_EQ(link.GetStatusGroup(kNobody, "PWR", items), eErrorUnknownRequest);

    SStatus item;
    EXPECT_EQ(link.GetStatus(kNobody, "Fans", -3, item), eErrorNone);
    EXPECT_EQ(item.mDescription, "Fan 2");
    EXPECT_EQ(link.GetStatus(kNobody, "Fans", 9, item), eErrorUnknownRequest);

    EXPECT_EQ(link.GetGlobalAlerts(kNobody, items), eErrorNone);
    EXPECT_EQ(items.size(), 1u);
}
