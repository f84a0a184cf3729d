// A table of controls is taken as a whole, or refused with a sentence that leads to the fault.
#include "apps/lanternd/CControlTable.h"

#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"
#include "software/utility/CAtomicFile.h"
#include "software/utility/CException.h"
#include "tests/support/CRecordingLog.h"
#include "tests/support/CRecordingProxy.h"
#include "tests/support/CTemporaryFolder.h"

#include <gtest/gtest.h>

namespace
{
class ControlTable : public testing::Test
{
protected:
    // What loading a table with these controls says after the path; empty when it is taken.
    std::string Refusal(const std::string& controls)
    {
        return RefusalOfFile(R"({"version": 1, "controls": [)" + controls + "]}");
    }
    std::string RefusalOfFile(const std::string& content)
    {
        const std::string path = mFolder.File("controls.json");
        CAtomicFile::Write(path, content);
        CEventDispatcher dispatcher(mLog);
        CControlTable table(dispatcher, [this](std::string_view) -> IControlProxy& { return mProxy; });
        try
        {
            table.Load(path);
            return std::string();
        }
        catch (const CException& error)
        {
            const std::string& text = error.GetMessage();
            EXPECT_EQ(text.rfind(path + ": ", 0), 0u) << text;
            return text.substr(std::min(text.size(), path.size() + 2));
        }
    }

    CTemporaryFolder mFolder;
    CRecordingLog mLog;
    CRecordingProxy mProxy;
};

constexpr char kLight[] = R"({"code": "LUM", "type": 204, "name": 1, "help": 2, "persistent": true, "min": 0,
    "max": 1000, "default": 735, "decimals": 1, "unit": "%", "confirm": 3, "wait": 4, "icon": "l.png"})";
} // namespace

TEST_F(ControlTable, MakesControlsOfEveryFamily)
{
    const std::string path = mFolder.File("controls.json");
    CAtomicFile::Write(path, std::string(R"({"version": 1, "controls": [)") + kLight + R"(,
        {"code": "PWR", "type": 100, "name": 5, "persistent": false, "default": true},
        {"code": "SRC", "type": 400, "name": 6, "persistent": true, "default": 4, "list": [
            {"value": 3, "text": 7, "enabled": false, "visible": false}, {"value": 4, "text": 8, "icon": "n.png"}]},
        {"code": "NME", "type": 300, "name": 9, "persistent": true, "readOnly": true, "access": 6, "min": 1,
            "max": 9, "default": "Käse"},
        {"code": "IPA", "type": 306, "name": 9, "persistent": true, "default": "10.0.0.1"},
        {"code": "RST", "type": 500, "name": 9, "continue": 11},
        {"code": "MMM+MAIN", "type": 600, "name": 9, "icon": "m.png"},
        {"code": "CST", "type": 700, "name": 9}]})");
    CEventDispatcher dispatcher(mLog);
    std::string asked;
    {
        CControlTable table(dispatcher,
                            [&](std::string_view code) -> IControlProxy&
                            {
                                asked += std::string(code) + " ";
                                return mProxy;
                            });
        table.Load(path);
        EXPECT_EQ(table.GetSize(), 8u);
        EXPECT_EQ(asked, "LUM PWR SRC NME IPA RST MMM+MAIN CST ");

        const CProjCon& light = *dispatcher.GetControl("LUM");
        EXPECT_EQ(light.GetDisplayType(), eDisplaySoftValue);
        EXPECT_TRUE(light.IsPersistent());
        EXPECT_EQ(light.GetMaxValue(), 1000);
        EXPECT_EQ(light.GetValue(), 735);
        EXPECT_EQ(light.GetDecimals(), 1u);
        EXPECT_EQ(light.GetUnit(), "%");
        EXPECT_EQ(light.GetAccessGroup(), eAccessOperator);
        EXPECT_EQ(light.GetNameText() + light.GetHelpText() + light.GetConfirmText() + light.GetWaitText(),
                  "#1#2#3#4");
        EXPECT_EQ(light.GetIconPath(), "l.png");

        const CProjCon& source = *dispatcher.GetControl("SRC");
        EXPECT_EQ(source.GetValue(), 4);
        ASSERT_EQ(source.GetListSize(), 2u);
        EXPECT_FALSE(source.GetList()[0].mEnabled);
        EXPECT_FALSE(source.GetList()[0].mVisible);
        EXPECT_EQ(source.GetList()[1].mIcon, "n.png");

        const CProjCon& name = *dispatcher.GetControl("NME");
        EXPECT_EQ(name.GetText(), "Käse");
        EXPECT_TRUE(name.IsReadOnly());
        EXPECT_EQ(name.GetAccessGroup(), eAccessProtected);
        EXPECT_EQ(dispatcher.GetControl("RST")->GetContinueText(), "#11");
        EXPECT_EQ(dispatcher.GetControl("MMM+MAIN")->GetIconPath(), "m.png");

        mProxy.Take();
        table.UpdateHardware();
        EXPECT_EQ(mProxy.Take(),
                  (std::vector<std::string>{"LUM=735", "PWR=1", "SRC=4", "NME=Käse", "IPA=10.0.0.1"}));
    }
    EXPECT_TRUE(dispatcher.GetControls().empty());
}

TEST_F(ControlTable, RefusesWithFileControlAndMember)
{
    const std::pair<std::string, std::string> cases[] = {
        {R"({"type": 100})", "control number 1: member \"code\" is missing"},
        {R"(7)", "control number 1: it must be a JSON object"},
        {R"({"code": "lum"})", "control number 1: member \"code\" must be a control code in upper case, such "
                               "as \"LUM\" or \"KST+TLPX\""},
        {R"({"code": "KST+TL"})",
         "control number 1: member \"code\" must have four characters behind the +, or it "
         "fits into no message"},
        {R"({"code": "LUM", "type": 99, "name": 1})",
         "control LUM: member \"type\" must be a whole number from 100 to 2147483647"},
        {R"({"code": "LUM", "type": 800, "name": 1})",
         "control LUM: member \"type\" is not a type of controls"},
        {R"({"code": "LUM", "type": 302, "name": 1, "persistent": true, "min": 0, "max": 1, "default": ""})",
         "control LUM: Invalid string type 302"},
        {R"({"code": "LUM", "type": 100})", "control LUM: member \"name\" is missing"},
        {R"({"code": "LUM", "type": 100, "name": "Light"})",
         "control LUM: member \"name\" must be a whole number from 1 to 2147483647"},
        {R"({"code": "LUM", "type": 100, "name": 1.0})",
         "control LUM: member \"name\" must be a whole number from 1 to 2147483647"},
        {R"({"code": "LUM", "type": 100, "name": 1, "persistent": 1, "default": false})",
         "control LUM: member \"persistent\" must be true or false"},
        {R"({"code": "LUM", "type": 100, "name": 1, "persistent": true, "default": false, "access": 3})",
         "control LUM: member \"access\" must be 1, 2 or 6"},
        {R"({"code": "LUM", "type": 200, "name": 1, "persistent": true, "min": 5, "max": 4, "default": 5})",
         "control LUM: member \"max\" must be a whole number from 5 to 2147483647"},
        {R"({"code": "LUM", "type": 200, "name": 1, "persistent": true, "min": 0, "max": 4, "default": 5})",
         "control LUM: member \"default\" must be a whole number from 0 to 4"},
        {R"({"code": "LUM", "type": 200, "name": 1, "persistent": true, "min": 0, "max": 4, "default": 4,
             "decimals": 8})",
         "control LUM: member \"decimals\" must be a whole number from 0 to 7"},
        {R"({"code": "SRC", "type": 400, "name": 1, "persistent": true, "default": 0, "list": []})",
         "control SRC: member \"list\" must be an array with at least one element"},
        {R"({"code": "SRC", "type": 400, "name": 1, "persistent": true, "default": 0, "list": [{"value": 0}]})",
         "control SRC: list entry 0: member \"text\" is missing"},
        {R"({"code": "SRC", "type": 400, "name": 1, "persistent": true, "default": 0,
             "list": [{"value": 0, "text": 1}, {"value": 0, "text": 2}]})",
         "control SRC: member \"list\" has the value 0 twice"},
        {R"({"code": "SRC", "type": 400, "name": 1, "persistent": true, "default": 0,
             "list": [{"value": 0, "text": 1, "enabled": false}]})",
         "control SRC: member \"default\" must be the value of an enabled list entry"},
        {R"({"code": "NME", "type": 300, "name": 1, "persistent": true, "min": 0, "max": 4001, "default": ""})",
         "control NME: member \"max\" must be a whole number from 0 to 4000"},
        {R"({"code": "NME", "type": 300, "name": 1, "persistent": true, "min": 2, "max": 4, "default": "a"})",
         "control NME: Invalid default string length 2 < a < 4"},
        {R"({"code": "IPA", "type": 306, "name": 1, "persistent": true, "default": "1.2.3.400"})",
         "control IPA: Add Control IPA invalid default value: 1.2.3.400.  Err: 104"},
        {R"({"code": "DAT", "type": 304, "name": 1, "persistent": true, "default": "2026-02-30"})",
         "control DAT: member \"default\" must be a date such as 2026-01-31"},
        {R"({"code": "TIM", "type": 305, "name": 1, "persistent": true, "default": "24:00:00"})",
         "control TIM: member \"default\" must be a time such as 23:59:59"},
        {R"({"code": "RST", "type": 500, "name": 1, "default": 0})",
         "control RST: member \"default\" is unknown, or of no use to this type"},
        {std::string(kLight) + "," + kLight, "control LUM: LUM Control already exists."},
    };
    for (const auto& [controls, refusal] : cases)
        EXPECT_EQ(Refusal(controls), refusal) << controls;
}

TEST_F(ControlTable, RefusesFilesThatAreNoTable)
{
    const std::pair<std::string, std::string> cases[] = {
        {R"({"controls": [)" + std::string(kLight) + "]}", "member \"version\" is missing"},
        {R"({"version": 2, "controls": [)" + std::string(kLight) + "]}",
         "member \"version\" must be a whole number from 1 to 1"},
        {R"({"version": 1, "controls": []})",
         "member \"controls\" must be an array with at least one element"},
        {R"({"version": 1, "controls": [)" + std::string(kLight) + R"(], "menus": 1})",
         "member \"menus\" is unknown, or of no use to this type"},
        {"[]", "it is not a JSON object"},
        {"\xff{}", "it is not UTF-8 text"},
    };
    for (const auto& [content, refusal] : cases)
        EXPECT_EQ(RefusalOfFile(content), refusal) << content;
    EXPECT_NE(RefusalOfFile(""), "");
    EXPECT_NE(RefusalOfFile(R"({"version": 1, "version": 1, "controls": []})"), "");
    EXPECT_NE(RefusalOfFile(std::string(100000, '[')), "");
    EXPECT_NE(RefusalOfFile(R"({"version": 1, "controls": [)" + std::string(kLight) + "]} x"), "");

    CEventDispatcher dispatcher(mLog);
    CControlTable table(dispatcher, [this](std::string_view) -> IControlProxy& { return mProxy; });
    EXPECT_THROW(table.Load(mFolder.File("missing.json")), CException);
}
