#include "software/bp/c4j/CJsonMenu.h"

#include "software/utility/CAtomicFile.h"
#include "software/utility/CException.h"
#include "software/utility/NJsonFile.h"
#include "software/utility/NReason.h"
#include "tests/support/CTemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

namespace
{
class JsonMenu : public testing::Test
{
protected:
    void WriteMenus(const std::string& text) { CAtomicFile::Write(mFolder.File("menu.json"), text); }
    void WriteFavorites(const std::string& text) { CAtomicFile::Write(mFavorites, text); }
    static std::string Short(const Json::Value& value) { return NJsonFile::PrintShort(value); }

    // What was thrown: its own message, and behind it why.
    std::pair<std::string, std::string> Refusal(const std::function<void()>& action)
    {
        try
        {
            action();
        }
        catch (const CException& error)
        {
            return {error.GetMessage(), NReason::Of(error)};
        }
        return {"", ""};
    }

    CTemporaryFolder mFolder;
    const std::string mFavorites = mFolder.File("favmenu.json");
    CJsonMenu mMenu{mFolder.File(""), mFavorites};
};
} // namespace

TEST_F(JsonMenu, MenusAreFoundByTheirId)
{
    WriteMenus(R"({"MAIN": {"items": ["PWR", "XYZ", "pwr", 5]}, "ODD": 7, "NONE": null})");
    EXPECT_TRUE(mMenu.Initialize());
    Json::Value listing;
    EXPECT_TRUE(mMenu.GetMenuListing("MAIN", listing));
    EXPECT_EQ(Short(listing), R"({"items":["PWR","XYZ","pwr",5]})");
    EXPECT_TRUE(mMenu.GetMenuListing("ODD", listing));
    for (const char* id : {"NONE", "IMAG", ""})
    {
        EXPECT_FALSE(mMenu.GetMenuListing(id, listing)) << id;
        EXPECT_TRUE(listing.isNull()) << id;
    }
    EXPECT_TRUE(mMenu.RemoveMenuItem("MAIN", "PWR"));
    for (const auto& [id, code] :
         {std::pair<const char*, const char*>{"MAIN", "PWR"}, {"ODD", "PWR"}, {"IMAG", "PWR"}, {"MAIN", "?"}})
        EXPECT_FALSE(mMenu.RemoveMenuItem(id, code)) << id << ' ' << code;
    EXPECT_TRUE(mMenu.GetMenuListing("MAIN", listing));
    EXPECT_EQ(Short(listing), R"({"items":["XYZ",5]})");
    EXPECT_EQ(mMenu.GetMenuIds(), (std::vector<std::string>{"MAIN", "NONE", "ODD"})); // nothing was added

    CAtomicFile::Write(mFolder.File("other.json"), R"({"A": {}})");
    EXPECT_TRUE(mMenu.Initialize("other.json"));
    EXPECT_EQ(mMenu.GetMenuIds(), std::vector<std::string>{"A"});
}

TEST_F(JsonMenu, AMenuFileThatIsNoneIsRefusedAndTheFormerOneStays)
{
    WriteMenus(R"({"MAIN": {}})");
    mMenu.LoadMenuFile("menu.json");
    const std::string path = mFolder.File("bad.json");
    EXPECT_EQ(Refusal([&] { mMenu.LoadMenuFile(""); }).first,
              "Unable to find menu configuration - path not specified.");
    EXPECT_EQ(Refusal([&] { mMenu.LoadMenuFile("bad.json"); }).first,
              "Unable to find menu configuration " + path);
    const std::pair<std::string, const char*> files[] = {
        {"", "Line 1"},
        {R"({"MAIN": {"items": [)", "Line 1"},
        {"[]", "it is not a JSON object"},
        {R"({"A": {}, "A": {}})", "Duplicate key"},
        {R"({"A": )" + std::string(2000, '[') + std::string(2000, ']') + "}", "stackLimit"},
        {"{\"A\": \"\xFF\"}", "not UTF-8"},
        {std::string((1 << 20) + 1, ' '), "is larger than 1048576 bytes"},
    };
    for (const auto& [text, reason] : files)
    {
        SCOPED_TRACE(text.substr(0, 40));
        CAtomicFile::Write(path, text);
        const auto [message, whole] = Refusal([&] { mMenu.LoadMenuFile(path); }); // absolute this time
        EXPECT_EQ(message, "Unable to read menu configuration " + path);
        EXPECT_NE(whole.find(reason), std::string::npos) << whole;
    }
    EXPECT_EQ(mMenu.GetMenuIds(), std::vector<std::string>{"MAIN"});
    EXPECT_THROW(mMenu.Initialize("bad.json"), CException);
    EXPECT_TRUE(mMenu.GetMenuIds().empty()); // Initialize begins by emptying it
}

TEST_F(JsonMenu, EveryChangeOfTheFavoritesIsInTheFileAtOnce)
{
    const std::pair<std::function<void()>, const char*> changes[] = {
        {[&] { mMenu.FavAppend("LUM"); }, R"(["LUM"])"},
        {[&] { mMenu.FavAppend("kst+tlpx"); }, R"(["LUM","KST+TLPX"])"},
        {[&] { mMenu.FavAppend("LUM"); }, R"(["LUM","KST+TLPX","LUM"])"},
        {[&] { mMenu.FavDelete("XYZ"); }, R"(["LUM","KST+TLPX","LUM"])"},
        {[&] { mMenu.FavDelete("lum"); }, R"(["KST+TLPX"])"},
        {[&] { mMenu.FavSet(NJsonFile::ParseArray(R"(["b01","XYZ"])")); }, R"(["B01","XYZ"])"},
        {[&] { mMenu.FavClear(); }, "[]"},
    };
    mMenu.FavLoad(); // there is no file: an empty list
    for (const auto& [change, expected] : changes)
    {
        change();
        EXPECT_EQ(Short(mMenu.GetFavMenuListing()), expected);
        CJsonMenu next(mFolder.File(""), mFavorites);
        next.FavLoad();
        EXPECT_EQ(Short(next.GetFavMenuListing()), expected);
    }
}

TEST_F(JsonMenu, ARefusedChangeLeavesListAndFileAsTheyWere)
{
    mMenu.FavAppend("LUM");
    Json::Value many(Json::arrayValue);
    many.resize(CJsonMenu::kMaxFavorites + 1);
    for (Json::Value& code : many)
        code = "LUM";
    const std::string text = "A01+" + std::string(CJsonMenu::kMaxCodeLength, 'A');
    const std::pair<std::function<void()>, const char*> changes[] = {
        {[&] { mMenu.FavSet(Json::Value()); }, "Unsupported favorite type: non-array"},
        {[&] { mMenu.FavSet(NJsonFile::ParseObject(R"({"a": 1})")); },
         "Unsupported favorite type: non-array"},
        {[&] { mMenu.FavSet(NJsonFile::ParseArray(R"(["PWR", 5])")); },
         "Unsupported favorite: not a control code"},
        {[&] { mMenu.FavAppend("ALRM"); }, "Unsupported favorite: not a control code"},
        {[&] { mMenu.FavAppend(text); }, "Unsupported favorite: not a control code"},
        {[&] { mMenu.FavSet(many); }, "Too many favorites: 257 of at most 256"},
    };
    for (const auto& [change, message] : changes)
        EXPECT_EQ(Refusal(change).first, message);

    std::filesystem::remove(mFavorites);
    std::filesystem::create_directories(mFavorites + "/full"); // nothing can be renamed over it
    EXPECT_NE(Refusal([&] { mMenu.FavClear(); }).first.find("Unable to replace " + mFavorites),
              std::string::npos);
    EXPECT_EQ(Short(mMenu.GetFavMenuListing()), R"(["LUM"])");
}

TEST_F(JsonMenu, AFavoritesFileThatIsNoneIsRefusedAndTheFormerListStays)
{
    mMenu.FavAppend("LUM");
    const std::string files[] = {
        "", "[\"LU", R"({"a": 1})", "[1]", R"(["ALRM"])", std::string(1 << 20, ' '), "null", R"(["PWR"] [])"};
    for (const std::string& text : files)
    {
        WriteFavorites(text);
        EXPECT_EQ(Refusal([&] { mMenu.FavLoad(); }).first, "Unable to read favorites menu file " + mFavorites)
            << text.substr(0, 20);
        EXPECT_EQ(Short(mMenu.GetFavMenuListing()), R"(["LUM"])");
    }
    Json::Value longest(Json::arrayValue); // what can be stored can be read
    longest.resize(CJsonMenu::kMaxFavorites);
    for (Json::Value& code : longest)
        code = "A01+" + std::string(CJsonMenu::kMaxCodeLength - 4, 'A');
    mMenu.FavSet(longest);
    EXPECT_NO_THROW(mMenu.FavLoad());
}

TEST_F(JsonMenu, ADevelopersFolderWinsOverTheInstalledOne)
{
    EXPECT_EQ(CJsonMenu::ChooseDirectory(mFolder.File(""), "/etc/"), mFolder.File(""));
    WriteMenus("{}");
    for (const char* none : {"nothing", "menu.json"})
        EXPECT_EQ(CJsonMenu::ChooseDirectory(mFolder.File(none), "/etc/"), "/etc/") << none;
}
