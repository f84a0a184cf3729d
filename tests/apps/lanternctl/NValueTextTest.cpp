#include "apps/lanternctl/NValueText.h"

#include "apps/lanternctl/CCommandFailure.h"
#include "apps/lanternctl/CControlInfo.h"
#include "apps/lanternctl/NJsonDocument.h"

#include <gtest/gtest.h>

namespace
{
using NValueText::EUnit;

CControlInfo Control(const std::string& json)
{
    Json::Value raw;
    std::string problem;
    EXPECT_TRUE(NJsonDocument::Parse(json, raw, problem)) << problem;
    return CControlInfo(raw);
}

Json::Value Value(const std::string& json)
{
    return Control("{\"v\":" + json + "}").GetMember("v");
}

const CControlInfo kLight = Control(
    R"({"code":"LUM","type":204,"unit":"%","decimals":1,"min":0,"max":1000,"softmin":0,"softmax":800})");
const CControlInfo kHeat =
    Control(R"({"code":"TP1","type":200,"unit":"Cel","decimals":1,"min":-400,"max":1250})");
const CControlInfo kFan = Control(R"({"code":"FN1","type":200,"unit":"{rpm}"})");
const CControlInfo kSource = Control(R"({"code":"SRC","type":400,"list":[{"idx":0,"text":"HDMI 1"},
    {"idx":1,"text":"HDMI 2"},{"idx":3,"text":"SDI","enabled":false},{"idx":7,"text":"2"},
    {"idx":8,"text":"Réseau"}]})");
const CControlInfo kPower = Control(R"({"code":"PWR","type":100})");
const CControlInfo kName = Control(R"({"code":"NME","type":300,"min":0,"max":32})");
const CControlInfo kHome = Control(R"({"code":"LHM","type":500})");
const CControlInfo kUnlisted = CControlInfo::Unlisted("XYZ");
} // namespace

TEST(ValueText, ValuesAreShownAsPeopleThinkOfThem)
{
    struct SRow
    {
        const CControlInfo& mControl;
        const char* mValue;
        const char* mForPeople;
        const char* mForScripts;
    };
    const SRow rows[] = {
        {kLight, "735", "73.5 %", "73.5"},
        {kHeat, "-5", "-0.5 °C", "-0.5"},
        {kFan, "1200", "1200 rpm", "1200"},
        {kSource, "3", "SDI", "SDI"},
        {kSource, "99", "99", "99"}, // an index that is not shown
        {kPower, "true", "on", "on"},
        {kPower, "false", "off", "off"},
        {kPower, "1", "on", "on"}, // as its default comes
        {kName, "\"Große Halle\"", "Große Halle", "Große Halle"},
        {kHome, "null", "-", "-"},
        {kUnlisted, "5", "5", "5"},
        {kUnlisted, "[1,2]", "[1,2]", "[1,2]"},
        {kLight, "18446744073709551615", "18446744073709551615",
         "18446744073709551615"}, // of a confused peer
    };
    for (const SRow& row : rows)
    {
        SCOPED_TRACE(row.mForPeople);
        EXPECT_EQ(NValueText::Format(row.mControl, Value(row.mValue), EUnit::Shown), row.mForPeople);
        EXPECT_EQ(NValueText::Format(row.mControl, Value(row.mValue), EUnit::Hidden), row.mForScripts);
    }
    EXPECT_EQ(NValueText::FormatRange(kHeat), "-40.0 to 125.0 °C");
    EXPECT_EQ(NValueText::FormatSoftRange(kLight), "0.0 to 80.0 %");
    EXPECT_EQ(NValueText::FormatRange(kSource), "5 choices");
    EXPECT_EQ(NValueText::FormatRange(kName), "0 to 32 bytes");
}

TEST(ValueText, ValuesAreTakenAsTheyAreShown)
{
    struct SRow
    {
        const CControlInfo& mControl;
        const char* mTyped;
        const char* mSent;
    };
    const SRow rows[] = {
        {kLight, "73.5", "735"},
        {kLight, "73.5 %", "735"},
        {kLight, "73.5%", "735"},
        {kHeat, "-0.5 °C", "-5"},
        {kHeat, "20Cel", "200"},
        {kFan, "1200 rpm", "1200"},
        {kPower, "on", "true"},
        {kPower, "OFF", "false"},
        {kPower, "1", "true"},
        {kPower, "no", "false"},
        {kSource, "HDMI 2", "1"},
        {kSource, "hdmi 2", "1"},
        {kSource, "RÉSEAU", "8"},
        {kSource, "sdi", "3"}, // disabled: that is for the projector to refuse
        {kSource, "0", "0"},
        {kSource, "2", "7"},   // a text comes before a number
        {kSource, "99", "99"}, // the projector may hide choices
        {kName, "", "\"\""},
        {kName, " 12 ", "\" 12 \""},
        {kHome, "", "1"},
        {kUnlisted, "5", "5"},
        {kUnlisted, "five", "\"five\""},
    };
    for (const auto& [control, typed, sent] : rows)
    {
        SCOPED_TRACE(control.GetCode() + " " + typed);
        EXPECT_EQ(NValueText::Parse(control, typed), Value(sent));
    }
}

TEST(ValueText, WhatCannotBeMeantIsRefusedWithASentence)
{
    struct SRow
    {
        const CControlInfo& mControl;
        const char* mTyped;
        const char* mSentence;
    };
    const SRow rows[] = {
        {kLight, "73.55", "LUM: \"73.55\" has more decimals than the 1 that this control keeps"},
        {kLight, "bright", "LUM: \"bright\" is not a number such as \"73.5 %\""},
        {kLight, "73.5 W", "LUM: \"73.5 W\" is not a number such as \"73.5 %\""},
        {kLight, "%", "LUM: \"%\" is not a number such as \"73.5 %\""},
        {kLight, "", "LUM: \"\" is not a number such as \"73.5 %\""},
        {kFan, "0.5", "FN1: \"0.5\" is not a whole number"},
        {kFan, "2147483648", "FN1: \"2147483648\" is more than any control can hold"},
        {kPower, "maybe", "PWR: \"maybe\" is neither \"on\" nor \"off\""},
        {kSource, "HDMI 9",
         "SRC: no such choice \"HDMI 9\"; one of: \"HDMI 1\", \"HDMI 2\", \"SDI\" (disabled), \"2\", "
         "\"Réseau\""},
    };
    for (const auto& [control, typed, sentence] : rows)
    {
        SCOPED_TRACE(typed);
        try
        {
            NValueText::Parse(control, typed);
            ADD_FAILURE() << "was taken";
        }
        catch (const CCommandFailure& failure)
        {
            EXPECT_STREQ(failure.what(), sentence);
            EXPECT_EQ(failure.GetExitCode(), EExitCode::WrongUsage);
        }
    }
}

TEST(ControlInfo, MembersOfTheWrongKindCountAsMissing)
{
    const CControlInfo control =
        Control(R"({"code":5,"type":"200","decimals":400,"min":"x","max":null,"unit":[],
        "enabled":1,"list":[7,null,{"text":"no index"},{"idx":4000000000,"text":"beyond"},{"idx":1}]})");
    EXPECT_EQ(control.GetCode(), "");
    EXPECT_EQ(control.GetFamily(), EControlFamily::None);
    EXPECT_LE(control.GetDecimals(), 7u);
    EXPECT_TRUE(control.IsEnabled());
    EXPECT_EQ(NValueText::FormatRange(control), "");
    EXPECT_EQ(NValueText::Format(control, Value("12"), EUnit::Shown), "0.0000012");
    EXPECT_EQ(CControlInfo(Json::Value("text")).GetChoices().size(), 0u);
    ASSERT_EQ(control.GetChoices().size(), 1u);
    EXPECT_EQ(control.GetChoices()[0].mIndex, 1);
}
