// What is told to whom, in which order, and what never gets in.
#include "software/bp/status/CStatusDb.h"

#include "software/bp/status/IStatusListener.h"
#include "software/bp/status/NStatusText.h"
#include "software/utility/CException.h"
#include "tests/support/CAllocationCount.h"
#include "tests/support/CRecordingLog.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace
{
class CTold : public IStatusListener
{
public:
    void OnStatusItem(const SStatus& item) override
    {
        mTold += item.mGroup + "." + std::to_string(item.mIndex) + "=" + std::to_string(item.mStatus) + " ";
        mOnItem(item);
    }
    void OnStatusSummary() override { mTold += "summary "; }
    void OnStatusAlarms() override { mTold += "alarms "; }

    std::string Take() { return std::exchange(mTold, {}); }

    std::function<void(const SStatus&)> mOnItem = [](const SStatus&) {};

private:
    std::string mTold;
};

class StatusDb : public testing::Test
{
protected:
    StatusDb()
    {
        mDb.AddGroup("Temperature", "icons/heat.png");
        mDb.AddGroup("Fans");
        mDb.AddItem("Temperature", 0, "Die");
        mDb.AddItem("Temperature", 5, "Ambient", -1); // shown first
        mDb.AddItem("Temperature", 2, "Supply");
        mDb.AddItem("Fans", 0, "Fan 1");
        mDb.AddListener(mTold);
    }

    static std::string Print(const std::vector<SStatus>& items)
    {
        std::string text;
        for (const SStatus& item : items)
            text += item.mGroup.substr(0, 1) + std::to_string(item.mIndex) + " ";
        return text;
    }

    CRecordingLog mLog;
    CStatusDb mDb{mLog};
    CTold mTold;
};
} // namespace

TEST_F(StatusDb, AGroupIsAsBadAsItsWorstItemAndEachKindOfChangeIsToldOnce)
{
    struct SChange
    {
        const char* mGroup;
        int mIndex;
        EStatusLevel mStatus;
        const char* mValue;
        const char* mTold;
        const char* mAlarms;
    };
    const SChange changes[] = {
        {"Temperature", 0, eStatusOk, "40", "Temperature.0=0 ", ""},
        {"Temperature", 0, eStatusOk, "40", "", ""},
        {"Temperature", 0, eStatusWarning, "61", "Temperature.0=1 summary alarms ", "T0 "},
        {"Temperature", 0, eStatusWarning, "62", "Temperature.0=1 ", "T0 "}, // the alarm is the same
        {"Temperature", 2, eStatusWarning, "", "Temperature.2=1 alarms ", "T0 T2 "},
        {"Fans", 0, eStatusAlarm, "0", "Fans.0=2 summary alarms ", "F0 T0 T2 "},
        {"Temperature", 2, eStatusAlarm, "", "Temperature.2=2 summary alarms ", "T2 F0 T0 "},
        {"Temperature", 2, eStatusOk, "", "Temperature.2=0 summary alarms ", "F0 T0 "},
        {"Temperature", 0, eStatusOk, "40", "Temperature.0=0 summary alarms ", "F0 "},
        {"Fans", 1, eStatusAlarm, "", nullptr, "F0 "},
        {"Lens", 0, eStatusAlarm, "", nullptr, "F0 "},
    };
    for (const SChange& change : changes)
    {
        SCOPED_TRACE(std::string(change.mGroup) + " " + std::to_string(change.mIndex) + " " + change.mValue);
        EXPECT_EQ(mDb.Set(change.mGroup, change.mIndex, change.mStatus, change.mValue),
                  change.mTold != nullptr);
        EXPECT_EQ(mTold.Take(), change.mTold != nullptr ? change.mTold : "");
        EXPECT_EQ(Print(mDb.GetAlarms()), change.mAlarms);
    }
    const std::vector<SStatusGroup> summary = mDb.GetSummary();
    ASSERT_EQ(summary.size(), 2u);
    EXPECT_EQ(summary[0].mGroup + summary[0].mName + summary[0].mIcon,
              "TemperatureTemperatureicons/heat.png");
    EXPECT_EQ(summary[0].mStatus, eStatusOk);
    EXPECT_EQ(summary[1].mStatus, eStatusAlarm);
    EXPECT_TRUE(mLog.Has(ELogLevel::Warning, "Fans: Fan 1 raises an alarm (0)"));
    EXPECT_TRUE(mLog.Has(ELogLevel::Fyi, "Temperature: Die is OK again (40)"));
}

TEST_F(StatusDb, ItemsComeByIndexOrInDisplayOrder)
{
    std::vector<SStatus> items;
    EXPECT_TRUE(mDb.GetStatusGroup("Temperature", items));
    EXPECT_EQ(Print(items), "T0 T2 T5 ");
    EXPECT_TRUE(mDb.GetOrderedStatusGroup("Temperature", items));
    EXPECT_EQ(Print(items), "T5 T0 T2 ");
    EXPECT_FALSE(mDb.GetOrderedStatusGroup("Lens", items));
    EXPECT_TRUE(items.empty());
    EXPECT_EQ(mDb.GetItem("Temperature", 5)->mDescription, "Ambient");
    EXPECT_EQ(mDb.GetItem("Temperature", 1), nullptr);
}

TEST_F(StatusDb, NamesThatWouldNotBeFoundAreRefused)
{
    for (const char* name : {"", "SUMM", "ALRM", "Fans", "a\"b", "a\nb", "\xFF"})
        EXPECT_THROW(mDb.AddGroup(name), CException) << name;
    EXPECT_THROW(mDb.AddGroup(std::string(NStatusText::kMaxGroup + 1, 'x')), CException);
    EXPECT_THROW(mDb.AddItem("Fans", 0, "twice"), CException);
    EXPECT_THROW(mDb.AddItem("Lens", 0, "nowhere"), CException);
    EXPECT_EQ(mDb.GetSummary().size(), 2u);
}

TEST_F(StatusDb, TextsAreMadeHarmlessAtTheDoor)
{
    const std::pair<std::string, std::string> cases[] = {
        {"say \"no\" \\ now", "say 'no' / now"},
        {std::string("a\0b\x1B\x7F\n", 6), "a b   "},
        {"54.2 \xC2\xB0"
         "C",
         "54.2 \xC2\xB0"
         "C"},
        {"\xC2|\xE2\x82|\xED\xA0\x80|\xFF", "?|\?\?|\?\?\?|?"},
        {std::string(511, 'x') + "\xC2\xB0", std::string(511, 'x')}, // never half a character
        {std::string(600, 'x'), std::string(512, 'x')},
    };
    for (const auto& [given, kept] : cases)
    {
        EXPECT_TRUE(mDb.Set("Fans", 0, eStatusOk, given));
        EXPECT_EQ(mDb.GetItem("Fans", 0)->mValue, kept);
    }
    mTold.Take();
    mDb.Set("Fans", 0, eStatusOk, std::string(700, 'x')); // cut to what is held
    EXPECT_EQ(mTold.Take(), "");
}

TEST_F(StatusDb, AnUnchangedItemCostsNothing)
{
    const std::string value = "a text that is too long to be stored inside a string \"quoted\"";
    mDb.Set("Temperature", 0, eStatusOk, value);
    mTold.Take();
    const CAllocationCount count;
    for (int i = 0; i < 10; ++i)
        mDb.Set("Temperature", 0, eStatusOk, value);
    EXPECT_EQ(count.Get(), 0u);
    EXPECT_EQ(mTold.Take(), "");
}

TEST_F(StatusDb, ListenersMayComeGoAndChangeThingsDuringTheWalk)
{
    CTold late;
    auto leaving = std::make_unique<CTold>();
    mTold.mOnItem = [&](const SStatus& item)
    {
        if (item.mGroup != "Fans" || leaving == nullptr)
            return;
        mDb.RemoveListener(*leaving);
        leaving.reset(); // gone before its turn
        mDb.AddListener(late);
        for (int i = 0; i < 50; ++i) // the list has to grow
            mDb.AddListener(late);
        mDb.Set("Temperature", 0, eStatusWarning, "hot");
    };
    mDb.AddListener(*leaving);
    mDb.Set("Fans", 0, eStatusAlarm, "0");
    EXPECT_EQ(mTold.Take(), "Fans.0=2 Temperature.0=1 summary alarms summary alarms ");
    EXPECT_EQ(late.Take().find("Fans.0"), std::string::npos); // it came after that change
    mDb.RemoveListener(late);
    mDb.Set("Fans", 0, eStatusOk, "900");
    EXPECT_EQ(late.Take(), "");
}

TEST_F(StatusDb, ChangesWithoutEndAreStoredButBounded)
{
    int value = 0;
    mTold.mOnItem = [&](const SStatus&) { mDb.Set("Fans", 0, eStatusOk, std::to_string(++value)); };
    mDb.Set("Fans", 0, eStatusOk, "go");
    EXPECT_EQ(value, static_cast<int>(CStatusDb::kMaxNesting));
    EXPECT_EQ(mDb.GetItem("Fans", 0)->mValue, std::to_string(value));
    EXPECT_TRUE(mLog.Has(ELogLevel::Warning, "Status changes nested deeper than 8 are not announced"));
}
