#include "software/utility/CException.h"
#include "tests/software/bp/serial/CControlCoreFixture.h"

#include <climits>

using testing::ElementsAre;
using testing::IsEmpty;

class ProjCon : public CControlCoreFixture
{
protected:
    template <class Make>
    std::string Refusal(Make make)
    {
        try
        {
            make();
        }
        catch (const CException& e)
        {
            EXPECT_NE(std::string(e.what()).find("software/bp/serial/CProjCon:"), std::string::npos);
            return e.GetMessage();
        }
        return "accepted";
    }
};

TEST_F(ProjCon, ConstructionRefusesWithItsTextAndRegistersNothing)
{
    const auto integer = [this](EDisplayType type, int min, int max, int value, unsigned char decimals)
    {
        return Refusal(
            [=]
            {
                CProjCon(type, mDispatcher, mProxy, "BRI", false, min, max, value, eAccessOperator, 0, 0,
                         decimals, false);
            });
    };
    const auto text = [this](int type, int min, int max, const char* value)
    { return Refusal([=] { Text(min, max, value, static_cast<EDisplayType>(type)); }); };
    const auto coded = [this](const char* code)
    { return Refusal([=] { CProjCon(eDisplayMenu, mDispatcher, mProxy, code, 0, 0, ""); }); };
    const std::pair<std::string, const char*> cases[] = {
        {integer(eDisplayInteger, 5, 4, 4, 0), "Invalid min/max range 5 < 4"},
        {integer(eDisplayInteger, 0, 9, 10, 0), "Invalid default value 0 < 10 < 9"},
        {integer(eDisplayBoolean, 0, 9, 1, 0), "Invalid integer type 100"},
        {integer(eDisplayInteger, 0, 9, 1, 8), "Invalid number of decimals 8"},
        {integer(eDisplayInteger, 0, 9, 1, 7), "accepted"},
        {text(302, 0, 9, ""), "Invalid string type 302"},
        {text(307, 0, 9, ""), "Invalid string type 307"},
        {text(300, 5, 4, ""), "Invalid min/max range 5 < 4"},
        {text(300, 2, 4, "a"), "Invalid default string length 2 < a < 4"},
        {text(304, 0, 0, "2026-1-1"), "Invalid default string length 10 < 2026-1-1 < 10"},
        {text(304, 0, 0, "0123456789"), "accepted"}, // what it holds is not examined
        {Refusal(
             [this] {
                 CProjCon(eDisplayInteger, mDispatcher, mProxy, "PWR", false, true, eAccessOperator, 0, 0,
                          false);
             }),
         "Invalid boolean type 200"},
        {Refusal(
             [this]
             { CProjCon(eDisplayList, mDispatcher, mProxy, "RST", false, eAccessOperator, 0, 0, 0, false); }),
         "Invalid action type 400"},
        {Refusal(
             [this] {
                 CProjCon(eDisplayAction, mDispatcher, mProxy, "SRC", false, 1, eAccessOperator, 0, 0, false);
             }),
         "Invalid list type 500"},
        {Refusal([this] { Entry(eDisplayAction); }), "Invalid menu/custom type 500"},
        {coded("A?C"), "A?C Invalid control code"},
        {coded("mmm+main"), "accepted"},
    };
    for (const auto& [refusal, expected] : cases)
        EXPECT_EQ(refusal, expected);
    EXPECT_TRUE(mDispatcher.GetControls().empty());

    const CProjCon first = Boolean(false);
    EXPECT_EQ(coded("pwr"), "PWR Control already exists.");
    EXPECT_EQ(mDispatcher.GetControl("PWR"), &first);
    EXPECT_EQ(text(306, 0, 0, "1.2.3.256"), "Add Control NME invalid default value: 1.2.3.256.  Err: 104");
}

TEST_F(ProjCon, StartsAsItsDefaultWithoutAWordToAnybody)
{
    Watch("BRI");
    const CProjCon control = Integer(-10, 10, -3, eDisplayInteger, true);
    EXPECT_EQ(control.GetValue(), -3);
    EXPECT_EQ(control.GetDefaultValue(), -3);
    EXPECT_EQ(control.GetAccessGroup(), eAccessOperator);
    EXPECT_TRUE(control.GetEnabled());
    EXPECT_FALSE(control.IsDirty());
    EXPECT_THAT(mProxy.Take(), IsEmpty());
    EXPECT_THAT(mNotifier.Take(), IsEmpty());
    const CProjCon action(static_cast<EDisplayType>(599), mDispatcher, mProxy, "RST", false, eAccessOperator,
                          0, 0, 0, false);
    EXPECT_EQ(action.GetDisplayType(), eDisplayAction);
    const CProjCon boolean(static_cast<EDisplayType>(177), mDispatcher, mProxy, "PWR", false, true,
                           eAccessOperator, 0, 0, false);
    EXPECT_EQ(boolean.GetDisplayType(), eDisplayBoolean);
    EXPECT_EQ(boolean.GetMaxValue(), 1);
}

// One row a rule of setting numbers: who is asked, who is told, and what it gives.
TEST_F(ProjCon, SetValueFollowsTheRuleOfItsFamily)
{
    CProjCon integer = Integer(0, 100, 50);
    CProjCon boolean = Boolean(false);
    CProjCon action = Action();
    CProjCon custom = Entry(eDisplayCustom);
    CProjCon menu(eDisplayMenu, mDispatcher, mProxy, "MMM", 0, 0, "");
    CProjCon text = Text(0, 9, "");
    CProjCon list = List(0); // without entries
    for (const char* code : {"BRI", "PWR", "RST", "CST", "MMM", "NME", "SRC"})
        Watch(code);

    const struct
    {
        const char* mWhat;
        CProjCon& mControl;
        int mValue;
        EChangeMode mMode;
        unsigned mResult;
        std::vector<std::string> mApplied;
        std::vector<std::string> mAnnounced;
    } cases[] = {
        {"a change", integer, 70, eChangeNormal, 0, {"BRI=70"}, {Line("BRI 1 70")}},
        {"no change: applied again, nobody told", integer, 70, eChangeNormal, 0, {"BRI=70"}, {}},
        {"limited to a new value", integer, 150, eChangeNormal, 0, {"BRI=100"}, {Line("BRI 1 100")}},
        {"limited to the value it has: told",
         integer,
         150,
         eChangeNormal,
         0,
         {"BRI=100"},
         {Line("BRI 1 100")}},
        {"limited from below", integer, INT_MIN, eChangeNormal, 0, {"BRI=0"}, {Line("BRI 1 0")}},
        {"not applied", integer, 9, eChangeNoApply, 0, {}, {Line("BRI 1 9")}},
        {"not applied, no change", integer, 9, eChangeNoApply, 0, {}, {}},
        {"brought to the hardware", integer, 9, eChangeHardware, 0, {"BRI=9"}, {}},
        {"boolean above 1", boolean, 2, eChangeNormal, 0, {"PWR=1"}, {Line("PWR 1 1")}},
        {"action: the default whatever is asked", action, 1, eChangeNormal, 0, {"RST=0"}, {Line("RST 1 0")}},
        {"custom, unchanged: told", custom, 0, eChangeNormal, 0, {"CST=0"}, {Line("CST 1 0")}},
        {"custom, not applied: told", custom, 0, eChangeNoApply, 0, {}, {Line("CST 1 0")}},
        {"menu, unchanged: applied and told", menu, 0, eChangeNormal, 0, {"MMM=0"}, {Line("MMM 1 0")}},
        {"menu, not applied: told", menu, 0, eChangeNoApply, 0, {}, {Line("MMM 1 0")}},
        {"a text holds no number", text, 1, eChangeNormal, 103, {}, {}},
        {"an empty list has no choice", list, 0, eChangeNoApply, 104, {}, {}},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(row.mWhat);
        EXPECT_EQ(row.mControl.SetValue(row.mValue, row.mMode), row.mResult);
        EXPECT_EQ(mProxy.Take(), row.mApplied);
        EXPECT_EQ(mNotifier.Take(), row.mAnnounced);
    }
}

TEST_F(ProjCon, ARefusedValueIsRestoredAndAnnounced)
{
    CProjCon control = Integer(0, 100, 50, eDisplayInteger, true);
    Watch("BRI");
    mProxy.mAccepts = false;
    for (const int value : {60, 50}) // a change, and none
    {
        EXPECT_EQ(control.SetValue(value), 112u);
        EXPECT_EQ(control.GetValue(), 50);
        EXPECT_THAT(mNotifier.Take(), ElementsAre(Line("BRI 1 50")));
        EXPECT_TRUE(mLog.Has(ELogLevel::Warning,
                             "BRI ApplyValue(" + std::to_string(value) + ") failed!!! reverting value: 50"));
    }
    EXPECT_TRUE(control.IsDirty()); // it was announced
    control.ClearDirty();
    EXPECT_FALSE(control.UpdateHardware());
    EXPECT_TRUE(mLog.Has(ELogLevel::Error, "BRI UpdateHardware() failed"));
}

TEST_F(ProjCon, HardwareThatThrowsIsARefusal)
{
    CProjCon control = Integer(0, 100, 50);
    mProxy.mOnApply = [](int) { throw CException("Write", "bus", 1, false, "bus is gone"); };
    EXPECT_EQ(control.SetValue(60), 112u);
    EXPECT_EQ(control.GetValue(), 50);
    EXPECT_TRUE(mLog.Has(ELogLevel::Error, "BRI could not be applied: bus:1 Write: bus is gone"));
}

TEST_F(ProjCon, AProxyMayCorrectTheValueItIsGiven)
{
    CProjCon control = Integer(0, 100, 50);
    Watch("BRI");
    mProxy.mOnApply = [&](int value)
    {
        if (value > 80)
            control.SetValue(80, eChangeNoApply);
    };
    EXPECT_EQ(control.SetValue(95), 0u);
    EXPECT_EQ(control.GetValue(), 80);
    EXPECT_THAT(mNotifier.Take(), ElementsAre(Line("BRI 1 80"))); // once
}

TEST_F(ProjCon, SetTextFollowsTheRuleOfItsType)
{
    CProjCon name = Text(2, 8, "name");
    CProjCon date(eDisplayDate, mDispatcher, mProxy, "DAT", false, 0, 0, "2026-01-01", eAccessOperator, 0, 0,
                  false);
    CProjCon address(eDisplayIpAddress, mDispatcher, mProxy, "IPA", false, 0, 0, "10.0.0.1", eAccessOperator,
                     0, 0, false);
    CProjCon integer = Integer(0, 1, 0);
    const struct
    {
        CProjCon& mControl;
        const char* mText;
        unsigned mResult;
        const char* mStored;
    } cases[] = {
        {name, "lobby", 0, "lobby"},
        {name, "0123456789", 0, "01234567"},
        {name, "1234567\xC3\xA4", 0, "1234567"}, // never half a character
        {name, "x", 104, "1234567"},
        {date, "anything at all", 0, "anything at all"},
        {date, "", 0, ""},
        {address, "192.168.001.010", 0, "192.168.1.10"},
        {address, " 1.+2.-0.3 x", 0, "1.2.0.3"}, // as scanf reads it
        {address, "256.1.1.1", 104, "1.2.0.3"},
        {address, "1.2.3.-4", 104, "1.2.0.3"},
        {address, "1.2.3", 104, "1.2.0.3"},
        {address, "1..2.3.4", 104, "1.2.0.3"},
        {address, "1,2,3,4", 104, "1.2.0.3"},
        {address, "4294967297.1.1", 104, "1.2.0.3"}, // a number that would wrap
        {address, "100.100.100.1000", 104, "1.2.0.3"},
        {address, "1.1.1.1", 0, "1.1.1.1"},
        {integer, "1", 103, ""},
    };
    for (const auto& [control, text, result, stored] : cases)
    {
        SCOPED_TRACE(text);
        EXPECT_EQ(control.SetText(text), result);
        EXPECT_EQ(control.GetText(), stored);
    }
}

TEST_F(ProjCon, SetTextAppliesAlwaysTellsOfChangesAndKeepsQuietAboutRefusals)
{
    CProjCon control = Text(0, 8, "old", eDisplayText, true);
    Watch("NME");
    EXPECT_EQ(control.SetText("old"), 0u);
    EXPECT_THAT(mProxy.Take(), ElementsAre("NME=old"));
    EXPECT_THAT(mNotifier.Take(), IsEmpty());
    EXPECT_FALSE(control.IsDirty());

    EXPECT_EQ(control.SetText("new", eChangeNoApply), 0u);
    EXPECT_THAT(mProxy.Take(), IsEmpty());
    EXPECT_THAT(mNotifier.Take(), ElementsAre(Line("NME 1 new")));
    EXPECT_TRUE(control.IsDirty());
    control.ClearDirty();

    mProxy.mAccepts = false;
    EXPECT_EQ(control.SetText("bad"), 112u);
    EXPECT_EQ(control.GetText(), "new");
    EXPECT_THAT(mNotifier.Take(), IsEmpty());
    EXPECT_FALSE(control.IsDirty());
    EXPECT_TRUE(mLog.Has(ELogLevel::Warning, "NME ApplyText(bad) failed!!! reverting text: new"));
}

TEST_F(ProjCon, DisabledControlsTakeOnlyWhatComesFromBelow)
{
    CProjCon control = Integer(0, 100, 50);
    CProjCon text = Text(0, 9, "a");
    Watch("BRI");
    const struct
    {
        void (CProjCon::*mSwitch)(bool);
        bool mDisables;
    } switches[] = {
        {&CProjCon::SetReserved, true},
        {&CProjCon::SetReadOnly, true},
        {&CProjCon::SetLocked, true},
        {&CProjCon::SetProgEnabled, false},
    };
    for (const auto& [change, disables] : switches)
    {
        (control.*change)(disables);
        (control.*change)(disables); // told once
        EXPECT_THAT(mNotifier.Take(), ElementsAre(Line("BRI 2 " + std::to_string(control.GetValue()))));
        EXPECT_FALSE(control.GetEnabled());
        const int value = control.GetValue();
        EXPECT_EQ(control.SetValue(value + 1), 105u);
        EXPECT_EQ(control.SetValue(value + 1, eChangeHardware), 0u);
        EXPECT_EQ(control.SetValue(value + 2, eChangeNoApply), 0u);
        mNotifier.Take();
        (control.*change)(!disables);
        EXPECT_THAT(mNotifier.Take(), ElementsAre(Line("BRI 2 " + std::to_string(value + 2))));
        EXPECT_TRUE(control.GetEnabled());
    }
    control.SetLocked(true);
    control.SetReserved(true);
    control.SetLocked(false);
    EXPECT_FALSE(control.GetEnabled()); // the other reason still stands
    text.SetReadOnly(true);
    EXPECT_EQ(text.SetText("b"), 105u);
    EXPECT_EQ(text.SetText("b", eChangeNoApply), 0u);
}

TEST_F(ProjCon, SoftRangesLimitInsideTheRangeWhereTheTypeHasThem)
{
    CProjCon control = Integer(0, 100, 50, eDisplaySoftRange);
    Watch("BRI");
    control.SetSoftRange(-5, false, 40, true);
    EXPECT_EQ(control.GetSoftMinValue(), 0); // cut to the range
    EXPECT_THAT(mNotifier.Take(), ElementsAre(Line("BRI 1 40"), Line("BRI 4 40")));
    EXPECT_EQ(control.SetValue(90), 0u);
    EXPECT_EQ(control.GetValue(), 40);
    control.SetSoftRange(60, true, 500, false);
    EXPECT_EQ(control.GetValue(), 60);
    EXPECT_EQ(control.GetSoftMaxValue(), 100);
    control.SetSoftRange(70, true, 30, true); // crossed: the maximum is applied last
    control.SetValue(50);
    EXPECT_EQ(control.GetValue(), 30);
    mNotifier.Take();

    control.SetRange(35, 90);
    EXPECT_EQ(control.GetSoftMinValue(), 70);
    EXPECT_EQ(control.GetSoftMaxValue(), 30); // only ever lowered
    mNotifier.Take();
    control.SetSoftValue(1); // not of this type
    EXPECT_THAT(mNotifier.Take(), IsEmpty());
}

TEST_F(ProjCon, SoftValuesAreCutToTheRangeAndLeaveTheValueAlone)
{
    CProjCon control = Integer(0, 100, 50, eDisplaySoftValue);
    Watch("BRI");
    control.SetSoftValue(170);
    EXPECT_EQ(control.GetSoftValue(), 100);
    EXPECT_EQ(control.GetValue(), 50);
    EXPECT_THAT(mNotifier.Take(), ElementsAre(Line("BRI 4 50")));
}

TEST_F(ProjCon, ANewRangeTakesTheValueWithIt)
{
    CProjCon control = Integer(0, 100, 50);
    Watch("BRI");
    const struct
    {
        int mMinimum;
        int mMaximum;
        int mValue;
    } cases[] = {{60, 90, 60}, {0, 55, 55}, {0, 100, 55}, {80, 70, 80}};
    for (const auto& [minimum, maximum, value] : cases)
    {
        control.SetRange(minimum, maximum);
        EXPECT_EQ(control.GetValue(), value);
        EXPECT_EQ(control.GetSoftMinValue(), minimum);
        EXPECT_EQ(control.GetSoftMaxValue(), maximum);
        EXPECT_EQ(mNotifier.Take().back(), Line("BRI 4 " + std::to_string(value)));
    }
    control.SetSoftRange(1, true, 2, true); // not of this type
    EXPECT_THAT(mNotifier.Take(), IsEmpty());
}

TEST_F(ProjCon, DefaultsMustBeAcceptable)
{
    CProjCon control = Integer(0, 100, 50);
    control.SetDefaultValue(150);
    EXPECT_EQ(control.GetDefaultValue(), 100); // cut
    CProjCon list = List(0);
    EXPECT_EQ(Refusal([&] { list.SetDefaultValue(7); }), "New default value for SRC (7) is not valid");
    EXPECT_NO_THROW(list.SetDefaultValue(0)); // the one it has is not looked at

    CProjCon text = Text(2, 4, "abc");
    text.SetDefaultText("abcdef");
    EXPECT_EQ(text.GetDefaultText(), "abcdef"); // as given
    EXPECT_EQ(Refusal([&] { text.SetDefaultText("x"); }), "New default value for NME (x) is not valid");
    EXPECT_EQ(text.GetText(), "abc");
}

TEST_F(ProjCon, RefreshSetsItToWhatItIs)
{
    class CDerived : public CProjCon
    {
    public:
        using CProjCon::CProjCon;
        std::string GetText() const override { return "supplied"; }
    };
    CProjCon integer = Integer(0, 9, 5);
    CProjCon menu(eDisplayMenu, mDispatcher, mProxy, "MMM", 0, 0, "");
    CDerived text(eDisplayText, mDispatcher, mProxy, "NME", true, 0, 8, "stored", eAccessOperator, 0, 0,
                  false);
    for (const char* code : {"BRI", "MMM", "NME"})
        Watch(code);

    integer.Refresh();
    EXPECT_THAT(mProxy.Take(), ElementsAre("BRI=5"));
    menu.Refresh();
    EXPECT_THAT(mProxy.Take(), IsEmpty());
    EXPECT_THAT(mNotifier.Take(), IsEmpty());
    text.Refresh();
    EXPECT_EQ(text.GetStoredText(), "supplied");
    EXPECT_THAT(mProxy.Take(), ElementsAre("NME=supplied"));
    EXPECT_THAT(mNotifier.Take(), ElementsAre(Line("NME 1 supplied")));

    for (CProjCon* control : {&integer, &menu, static_cast<CProjCon*>(&text)})
        control->Refresh(eChangeNoApply);
    EXPECT_THAT(mProxy.Take(), IsEmpty());
    EXPECT_THAT(mNotifier.Take(), ElementsAre(Line("BRI 1 5"), Line("MMM 1 0"), Line("NME 1 supplied")));

    integer.SetLocked(true);
    EXPECT_TRUE(integer.UpdateHardware());
    EXPECT_TRUE(text.UpdateHardware());
    EXPECT_THAT(mProxy.Take(), ElementsAre("BRI=5", "NME=supplied"));
}
