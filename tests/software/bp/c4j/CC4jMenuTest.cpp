#include "software/bp/c4j/CC4jMenu.h"

#include "software/bp/c4j/CJsonMenu.h"
#include "software/utility/CAtomicFile.h"
#include "software/utility/NJsonFile.h"
#include "tests/software/bp/c4j/CC4jRig.h"

#include <filesystem>
#include <optional>

namespace
{
const std::string kBrightness =
    R"({"access":2,"code":"BRI","decimals":0,"default":0,"enabled":true,"icon":"","label":"","max":100,)"
    R"("min":-100,"type":200,"value":0})";
const std::string kMain = R"("access":2,"code":"MMM+MAIN","default":0,"enabled":true,)"
                          R"("icon":"menu/main.png",)";

class CC4jMenuTest : public CC4jRig
{
protected:
    CC4jMenuTest()
    {
        CAtomicFile::Write(mFolder.File("texts.json"), R"({"9": "Not available"})");
        mCatalog.Load(mFolder.File("texts.json"));
        AddControls();
        for (const char* code : {"MMM+LENS", "MMM+NONE", "MMM+WORD", "MMM+VOID", "MMM+SERV", "MMM+FAVR"})
            AddMenu(code);
        CAtomicFile::Write(mFolder.File("menu.json"), R"({
            "MAIN": {"items": ["bri", 5, "MMM+LENS"]}, "LENS": {"items": ["XYZ", "BRI", "GAM"]},
            "NONE": {"name": "no items"}, "WORD": "text", "VOID": {"items": [1, null, {}]},
            "SERV": {"items": ["SVO", "RST", "SRC", "ALRM", ""]}, "LOST": {"items": ["BRI"]}, "FAVR": {}})");
        mMenu.Initialize();
        mMethods.emplace(mServer, mMenu);
    }

    CJsonMenu mMenu{mFolder.File(""), mFolder.File("favmenu.json")};
    std::optional<CC4jMenu> mMethods;
};
} // namespace

TEST_F(CC4jMenuTest, AMenuIsAnsweredWithAllItsControls)
{
    const std::string lens = R"({"access":2,"code":"MMM+LENS","default":0,"enabled":true,"icon":"menu.png",)"
                             R"("label":"","type":600,"value":null})";
    const std::string main =
        Result("{" + kMain + "\"items\":[" + kBrightness + "," + lens + "],\"label\":\"\",\"type\":600}");
    const std::pair<const char*, const char*> requests[] = {
        {"menu:get", ""},
        {"getMenu", "[]"},
        {"menu:get", R"([""])"},
        {"menu:get", R"(["mmm+main"])"},
        {"menu:get", R"({"code":"MMM+MAIN","addListener":false})"},
    };
    for (const auto& [method, params] : requests)
        EXPECT_EQ(Run(method, params), main) << method << params;
    EXPECT_EQ(Run("menu:version", ""), Result(R"({"version":1})"));
}

TEST_F(CC4jMenuTest, WhatCanNotBeShownHasAPlaceholder)
{
    Control("BRI").SetReserved(true);
    Control("GAM").SetIconPath("icons/gamma.png");
    Control("GAM").SetReserved(true);
    const std::string items =
        R"-("items":[{"icon":"menu/unknown.png","label":"Not available (XYZ)","type":302},)-"
        R"({"icon":"menu/reserved.png","label":"Not available","type":302},)"
        R"({"icon":"menu/gamma.png","label":"Not available","type":302}])";
    EXPECT_NE(Run("menu:get", R"(["MMM+LENS"])").find(items), std::string::npos);
}

TEST_F(CC4jMenuTest, RefusalsAreAnsweredOnlyWhereThereIsAnId)
{
    const std::pair<const char*, std::string> rows[] = {
        {R"(["LUM"])", Error(3, "Expected MMM+ABCD request")},
        {R"(["MMM"])", Error(3, "Expected MMM+ABCD request")},
        {R"(["MMM+"])", Error(3, "Expected MMM+ABCD request")},
        {R"(["MM+MAIN"])", Error(3, "Expected MMM+ABCD request")},
        {R"(["+MAIN"])", Error(3, "Expected MMM+ABCD request")},
        {R"(["MMM+IMAG"])", Error(101, "Menu ID not found")}, // neither
        {R"(["MMM+LOST"])", Error(101, "Menu ID not found")}, // no control
        {R"(["MMM+NONE"])", Error(113, "Bad menu file - items[] not found")},
        {R"(["MMM+WORD"])", Error(113, "Bad menu file - items[] not found")},
        {R"(["MMM+VOID"])", Error(113, "Empty menu entry - items[] missing/invalid")},
        {R"(["MMM+FAVR"])", Error(113, "Empty menu entry - items[] missing/invalid")},
    };
    for (const auto& [params, reply] : rows)
    {
        EXPECT_EQ(Run("menu:get", params), reply) << params;
        EXPECT_EQ(RunSilently("menu:get", params), "") << params;
    }
    EXPECT_EQ(Run("menu:get", R"(["MMM+MAIN",true])", -1), Error(5, "Can't find client identifier"));
    EXPECT_EQ(RunSilently("menu:get", R"(["MMM+MAIN",true])"), "");
    EXPECT_EQ(Run("getListenerList", R"({"client":"JSON_TCP.1000007"})"),
              Error(5, "Can't find client identifier")); // nothing was registered without an id
}

TEST_F(CC4jMenuTest, AListenerHearsOfEverythingOnThePageThatItMayRead)
{
    CC4jRigClient client(mServer);
    EXPECT_EQ(Run("menu:get", R"(["MMM+SERV",true])", client.GetId()).find("\"value\":7"), std::string::npos);
    EXPECT_EQ(Run("getListenerList", "", client.GetId()),
              Result(R"([{"code":"RST","count":1},{"code":"SRC","count":1}])"));
    Control("SRC").SetValue(4);
    EXPECT_EQ(client.Receive(1),
              std::vector<std::string>{
                  R"({"jsonrpc":"2.0","method":"control:notify","params":{"code":"SRC","value":4}})"});

    for (const EAccessLevel level : {eAccessOperator, eAccessProtected})
    {
        mServer.SetClientAccessLevel(static_cast<unsigned>(client.GetId()), level);
        Run("removeAllListeners", "", client.GetId());
        EXPECT_NE(Run("menu:get", R"({"code":"MMM+SERV","addListener":true})", client.GetId())
                      .find("\"type\":200,\"value\":7"),
                  std::string::npos);
        EXPECT_EQ(Run("getListenerList", "", client.GetId()),
                  Result(R"([{"code":"RST","count":1},{"code":"SRC","count":1},{"code":"SVO","count":1}])"));
    }
}

TEST_F(CC4jMenuTest, FavoritesAreAMenuInTheOrderTheyWereAdded)
{
    const std::string done = Result("{}");
    EXPECT_EQ(Run("menu:addFavorite", R"({"code":"gam"})"), done);
    EXPECT_EQ(RunSilently("menu:addFavorite", R"({"code":"BRI"})"), "");
    EXPECT_EQ(Run("menu:addFavorite", R"(["GAM"])"), done);
    EXPECT_EQ(NJsonFile::PrintShort(mMenu.GetFavMenuListing()), R"(["GAM","BRI","GAM"])");
    EXPECT_NE(Run("menu:get", R"(["MMM+FAVR"])").find(kBrightness), std::string::npos);
    EXPECT_EQ(Run("menu:deleteFavorite", R"({"code":"GAM"})"), done);
    EXPECT_EQ(NJsonFile::PrintShort(mMenu.GetFavMenuListing()), R"(["BRI"])");
    EXPECT_EQ(Run("menu:setFavorites", R"({"code":["lum","XYZ"]})"), done);
    EXPECT_EQ(NJsonFile::PrintShort(mMenu.GetFavMenuListing()), R"(["LUM","XYZ"])");

    Json::Value many(Json::arrayValue);
    many.resize(CJsonMenu::kMaxFavorites);
    for (Json::Value& code : many)
        code = "LUM";
    const std::tuple<const char*, const char*, std::string> refusals[] = {
        {"menu:setFavorites", R"({"code":"LUM"})", Error(3, "Unsupported favorite type: non-array")},
        {"menu:setFavorites", R"(["LUM"])", Error(3, "Unsupported favorite type: non-array")},
        {"menu:setFavorites", R"({"code":["LUM",[]]})", Error(3, "Unsupported favorite: not a control code")},
        {"menu:addFavorite", R"({"code":"ALRM"})", Error(3, "Unsupported favorite: not a control code")},
        {"menu:addFavorite", R"({"code":5})", Error(5, "Too Few Parameters")},
        {"menu:deleteFavorite", "", Error(5, "Too Few Parameters")},
    };
    for (const auto& [method, params, reply] : refusals)
        EXPECT_EQ(Run(method, params), reply) << method << params;
    EXPECT_EQ(NJsonFile::PrintShort(mMenu.GetFavMenuListing()), R"(["LUM","XYZ"])");
    EXPECT_EQ(Run("menu:clearFavorites", ""), done);
    EXPECT_EQ(NJsonFile::PrintShort(mMenu.GetFavMenuListing()), "[]");
    mMenu.FavSet(many);
    EXPECT_EQ(Run("menu:addFavorite", R"({"code":"BRI"})"),
              Error(107, "Too many favorites: 257 of at most 256"));

    const std::string file = mFolder.File("favmenu.json");
    std::filesystem::remove(file);
    std::filesystem::create_directories(file + "/full"); // nothing can be renamed over it
    EXPECT_NE(Run("menu:clearFavorites", "").find(R"({"error":{"code":113,"message":"Unable to replace )"),
              std::string::npos);
    EXPECT_EQ(mMenu.GetFavMenuListing(), many);
}

TEST_F(CC4jMenuTest, LogLinesNameTheClient)
{
    mLog.Clear();
    Run("getMenu", R"(["mmm+main",true])");
    Run("menu:get", "");
    Run("menu:addFavorite", R"(["LUM"])");
    Run("menu:setFavorites", "");
    Run("menu:deleteFavorite", R"(["LUM"])");
    Run("menu:clearFavorites", "");
    std::vector<std::string> lines;
    for (const CRecordingLog::SLine& line : mLog.GetLines())
    {
        EXPECT_EQ(line.mLevel, ELogLevel::Debug);
        lines.push_back(line.mText);
    }
    EXPECT_EQ(lines, (std::vector<std::string>{"Recv'd 'menu:get' from JSON_TCP.1000007: MMM+MAIN (reg)",
                                               "Completed 'menu:get' from JSON_TCP.1000007",
                                               "Recv'd 'menu:get' from JSON_TCP.1000007:  ",
                                               "Completed 'menu:get' from JSON_TCP.1000007",
                                               "Recv'd 'menu:addFavorite' from JSON_TCP.1000007",
                                               "Recv'd 'menu:setFavorites' from JSON_TCP.1000007",
                                               "Recv'd 'menu:deleteFavorite' from JSON_TCP.1000007",
                                               "Recv'd 'menu:clearFavorites' from JSON_TCP.1000007"}));
}
