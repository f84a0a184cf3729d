#include "tests/software/bp/serial/CControlCoreFixture.h"

#include "software/utility/CTextCatalog.h"
#include "tests/support/CTemporaryFolder.h"

#include <fstream>

using testing::ElementsAre;
using testing::IsEmpty;

class ProjConList : public CControlCoreFixture
{
protected:
    static SListEntry Choice(int value, const char* text, bool enabled = true, int textId = 0)
    {
        SListEntry entry;
        entry.mValue = value;
        entry.mText = text;
        entry.mEnabled = enabled;
        entry.mTextId = textId;
        return entry;
    }
};

TEST_F(ProjConList, OnlyAChoiceIsAcceptedAndADisabledOneOnlyFromBelow)
{
    CProjCon list = List(0);
    list.AddList(
        {Choice(0, "Off"), Choice(7, "Grid"), Choice(3, "White", false), Choice(7, "second", false)});
    Watch("SRC");
    mProxy.Take();
    const struct
    {
        int mValue;
        EChangeMode mMode;
        unsigned mResult;
    } cases[] = {
        {7, eChangeNormal, 0},   {1, eChangeNormal, 104}, {1, eChangeHardware, 104}, {3, eChangeNormal, 105},
        {3, eChangeHardware, 0}, {3, eChangeNoApply, 0},  {-1, eChangeNormal, 104},  {4, eChangeNormal, 104},
    };
    for (const auto& [value, mode, result] : cases)
        EXPECT_EQ(list.SetValue(value, mode), result) << value << " mode " << mode;
    EXPECT_EQ(list.GetValue(), 3);
    EXPECT_THAT(mProxy.Take(), ElementsAre("SRC=7", "SRC=3"));
}

TEST_F(ProjConList, ItsMaximumIsItsNumberOfEntriesAndSingleStepsAreSilent)
{
    CProjCon list = List(0);
    Watch("SRC");
    for (int value = 0; value < 3; ++value)
        list.SetListEntry(Choice(value, "x"));
    EXPECT_EQ(list.GetMaxValue(), 3);
    list.RemoveListEntry(1);
    list.RemoveListEntry(9);
    EXPECT_EQ(list.GetListSize(), 2u);
    EXPECT_EQ(list.GetList()[1].mValue, 2);
    EXPECT_EQ(list.GetMaxValue(), 3); // until the range is updated
    list.ClearList();
    EXPECT_THAT(mNotifier.Take(), IsEmpty());
    EXPECT_THAT(mProxy.Take(), IsEmpty());
    list.UpdateListRange(eChangeNormal);
    EXPECT_EQ(list.GetMaxValue(), 0);
    EXPECT_EQ(list.GetValue(), 0); // there is nothing to give way to
    EXPECT_THAT(mNotifier.Take(), ElementsAre(Line("SRC 8 0")));
}

TEST_F(ProjConList, AValueThatIsNoLongerAChoiceGivesWay)
{
    CProjCon list = List(5);
    Watch("SRC");
    const struct
    {
        const char* mWhat;
        std::vector<SListEntry> mEntries;
        int mValue;
        bool mChanges;
    } cases[] = {
        {"still a choice", {Choice(1, "a"), Choice(5, "b")}, 5, false},
        {"to the first entry, for the default is none", {Choice(2, "a"), Choice(1, "b")}, 2, true},
        {"to the default", {Choice(1, "a"), Choice(5, "b")}, 5, true},
        {"disabled is no choice", {Choice(1, "a"), Choice(5, "b", false)}, 1, true},
    };
    for (const auto& [what, entries, value, changes] : cases)
    {
        SCOPED_TRACE(what);
        list.AddList(entries);
        EXPECT_EQ(list.GetValue(), value);
        const std::string number = std::to_string(value);
        const std::vector<std::string> announced = mNotifier.Take();
        EXPECT_EQ(announced.size(), changes ? 2u : 1u);
        EXPECT_EQ(announced.front(), Line((changes ? "SRC 1 " : "SRC 8 ") + number));
        EXPECT_EQ(announced.back(), Line("SRC 8 " + number));
    }
}

TEST_F(ProjConList, EntriesAreFoundByValueAndByTheTextPeopleSee)
{
    const CTemporaryFolder folder;
    std::ofstream(folder.File("de.json")) << R"({"3001": "Gitter"})";
    CTextCatalog german;
    german.Load(folder.File("de.json"));
    mDispatcher.SetTextCatalog(&german);
    CProjCon list = List(0);
    list.AddList({Choice(0, "Off"), Choice(1, "Grid", true, 3001)});

    SListEntry found;
    EXPECT_TRUE(list.GetListEntry("Off", found));
    EXPECT_EQ(found.mValue, 0);
    for (const char* name : {"Grid", "Gitter"})
    {
        EXPECT_TRUE(list.GetListEntry(name, found)) << name;
        EXPECT_EQ(found.mValue, 1);
    }
    EXPECT_FALSE(list.GetListEntry("White", found));
    EXPECT_EQ(list.GetEntryText(list.GetList()[1]), "Gitter");
    EXPECT_TRUE(list.GetListEntry(1, found));
    EXPECT_FALSE(list.GetListEntry(2, found));
    EXPECT_EQ(found.mText, "Grid"); // untouched
}

TEST_F(ProjConList, OtherControlsHaveNoList)
{
    CProjCon control = Integer(0, 9, 5);
    Watch("BRI");
    control.AddList({Choice(0, "Off")});
    control.SetListEntry(Choice(1, "On"));
    control.UpdateListRange(eChangeNormal);
    EXPECT_EQ(control.GetListSize(), 0u);
    EXPECT_EQ(control.GetMaxValue(), 9);
    EXPECT_THAT(mNotifier.Take(), IsEmpty());
}
