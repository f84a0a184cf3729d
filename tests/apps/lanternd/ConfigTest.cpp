// The files that are installed: the simulated projector's controls and their texts.
#include "apps/lanternd/CControlTable.h"
#include "apps/lanternd/NMenus.h"
#include "software/bp/c4j/CJsonMenu.h"
#include "software/bp/hwlogic/CPassiveProxy.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"
#include "software/utility/CAtomicFile.h"
#include "software/utility/CTextCatalog.h"
#include "software/utility/NJsonFile.h"
#include "tests/support/CRecordingLog.h"

#include <gtest/gtest.h>
#include <json/value.h>

#include <algorithm>
#include <set>

namespace
{
const std::string kFolder = LANTERN_TEST_CONFIG_DIR;

Json::Value ReadConfig(const std::string& name)
{
    std::string bytes;
    EXPECT_TRUE(CAtomicFile::Read(kFolder + "/" + name, bytes, 1 << 20));
    return NJsonFile::ParseObject(bytes);
}

void CollectTextIds(const Json::Value& object, std::set<std::string>& ids)
{
    for (const char* member : {"name", "help", "confirm", "continue", "wait", "text", "hint"})
        if (object.isMember(member))
            ids.insert(object[member].asString());
    for (const Json::Value& entry : object["list"])
        CollectTextIds(entry, ids);
}

class Config : public testing::Test
{
protected:
    Config() { mTable.Load(kFolder + "/controls.json"); }

    CRecordingLog mLog;
    CPassiveProxy mProxy;
    CEventDispatcher mDispatcher{mLog};
    CControlTable mTable{mDispatcher, [this](std::string_view) -> IControlProxy& { return mProxy; }};
};
} // namespace

TEST_F(Config, HoldsTheControlsThatEverybodyCountsOn)
{
    struct SExpected
    {
        const char* mCode;
        int mType;
        int mMinimum;
        int mMaximum;
        int mDefault;
        bool mPersistent;
        bool mReadOnly;
        int mAccess;
    };
    const SExpected numbers[] = {
        {"PWR", 100, 0, 1, 0, true, false, 2},           {"SHT", 100, 0, 1, 0, true, false, 2},
        {"LUM", 204, 0, 1000, 1000, true, false, 2},     {"BRI", 200, -100, 100, 0, true, false, 2},
        {"CTR", 200, 0, 1000, 500, true, false, 2},      {"GAM", 203, 10, 30, 22, true, false, 2},
        {"LNH", 203, -5000, 5000, 0, true, false, 2},    {"LNV", 203, -5000, 5000, 0, true, false, 2},
        {"LNF", 203, -5000, 5000, 0, true, false, 2},    {"LNZ", 203, -5000, 5000, 0, true, false, 2},
        {"KST+TLPX", 200, -400, 400, 0, true, false, 2}, {"KST+BRPY", 200, -400, 400, 0, true, false, 2},
        {"SRC", 400, 0, 5, 0, true, false, 2},           {"PAT", 400, 0, 5, 0, true, false, 2},
        {"TCM", 400, 0, 3, 0, true, false, 2},           {"NME", 300, 0, 32, 0, true, false, 2},
        {"LOC", 301, 0, 64, 0, true, false, 2},          {"NTE", 303, 0, 255, 0, true, false, 2},
        {"DAT", 304, 10, 10, 0, true, false, 2},         {"TIM", 305, 8, 8, 0, true, false, 2},
        {"IPA", 306, 7, 15, 0, true, false, 2},          {"GPW", 300, 0, 64, 0, false, true, 6},
        {"RST", 500, 0, 0, 0, false, false, 2},          {"LHM", 500, 0, 0, 0, false, false, 2},
        {"MMM+MAIN", 600, 0, 0, 0, false, false, 2},     {"MMM+FAVR", 600, 0, 0, 0, false, false, 2},
        {"CST", 700, 0, 0, 0, false, false, 2},          {"SVM", 100, 0, 1, 0, true, false, 6},
        {"SVO", 200, -50, 50, 0, true, false, 6},        {"FN1", 200, 0, 10000, 0, false, true, 2},
        {"TP3", 200, -400, 2000, 250, false, true, 2},   {"LPH", 200, -5000, 5000, 0, false, true, 2},
    };
    for (const SExpected& expected : numbers)
    {
        SCOPED_TRACE(expected.mCode);
        const CProjCon* control = mDispatcher.GetControl(expected.mCode);
        ASSERT_NE(control, nullptr);
        EXPECT_EQ(control->GetDisplayType(), expected.mType);
        EXPECT_EQ(control->GetMinValue(), expected.mMinimum);
        EXPECT_EQ(control->GetMaxValue(), expected.mMaximum);
        EXPECT_EQ(control->GetDefaultValue(), expected.mDefault);
        EXPECT_EQ(control->IsPersistent(), expected.mPersistent);
        EXPECT_EQ(control->IsReadOnly(), expected.mReadOnly);
        EXPECT_EQ(control->GetAccessGroup(), expected.mAccess);
    }
    EXPECT_EQ(mDispatcher.GetControl("DAT")->GetText(), "2026-01-01");
    EXPECT_EQ(mDispatcher.GetControl("TIM")->GetText(), "03:00:00");
    EXPECT_EQ(mDispatcher.GetControl("IPA")->GetText(), "192.168.1.10");
}

TEST_F(Config, ShowsItsListsInTheLanguageThatIsLent)
{
    CTextCatalog english;
    english.Load(kFolder + "/texts.en.json");
    mDispatcher.SetTextCatalog(&english);
    SListEntry entry;
    ASSERT_TRUE(mDispatcher.GetControl("SRC")->GetListEntry("SDI", entry));
    EXPECT_EQ(entry.mValue, 3);
    EXPECT_FALSE(entry.mEnabled);
    EXPECT_EQ(mDispatcher.GetControl("LUM")->GetNameText(), "Light output");

    CTextCatalog german;
    german.Load(kFolder + "/texts.de.json");
    mDispatcher.SetTextCatalog(&german);
    EXPECT_EQ(mDispatcher.GetControl("LUM")->GetNameText(), "Lichtleistung");
    ASSERT_TRUE(mDispatcher.GetControl("PAT")->GetListEntry("Gitter", entry));
    EXPECT_EQ(entry.mValue, 1);
}

TEST_F(Config, EveryLanguageHasEveryText)
{
    const Json::Value table = ReadConfig("controls.json");
    std::set<std::string> wanted;
    for (const Json::Value& control : table["controls"])
        CollectTextIds(control, wanted);
    ASSERT_GT(wanted.size(), 100u);
    for (const char* language : {"en", "de", "fr"})
    {
        SCOPED_TRACE(language);
        const Json::Value texts = ReadConfig(std::string("texts.") + language + ".json");
        for (const std::string& id : wanted)
            EXPECT_NE(texts[id].asString(), "") << id;
        EXPECT_EQ(texts.getMemberNames(), ReadConfig("texts.en.json").getMemberNames());
    }
}

TEST_F(Config, TheMenusReachEveryControl)
{
    CJsonMenu menu(kFolder, "/nonexistent/favmenu.json");
    NMenus::Load(menu, mDispatcher, mLog); // looks at every entry
    for (const CRecordingLog::SLine& line : mLog.GetLines())
        ADD_FAILURE() << line.mText;

    std::set<std::string> reached{"MMM+MAIN"};
    std::vector<std::string> open{"MAIN"};
    while (!open.empty())
    {
        Json::Value listing;
        ASSERT_TRUE(menu.GetMenuListing(open.back(), listing)) << open.back();
        open.pop_back();
        for (const Json::Value& item : listing["items"])
        {
            const std::string code = item.asString();
            EXPECT_TRUE(reached.insert(code).second) << code << " is in two places";
            if (code.compare(0, 4, "MMM+") == 0)
                open.push_back(code.substr(4));
        }
    }
    for (const auto& [code, control] : mDispatcher.GetControls())
        EXPECT_EQ(reached.count(code), 1u) << code << " is in no menu";
}
