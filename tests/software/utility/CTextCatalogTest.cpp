#include "software/utility/CTextCatalog.h"

#include "software/utility/CAtomicFile.h"
#include "software/utility/CException.h"
#include "tests/support/CTemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{
class TextCatalog : public testing::Test
{
protected:
    std::string Load(const std::string& content)
    {
        CAtomicFile::Write(mPath, content);
        return LoadFile();
    }

    std::string LoadFile()
    {
        try
        {
            mCatalog.Load(mPath);
        }
        catch (const CException& error)
        {
            return error.GetMessage();
        }
        return std::string();
    }

    CTemporaryFolder mFolder;
    std::string mPath = mFolder.File("texts.en.json");
    CTextCatalog mCatalog;
};
} // namespace

TEST_F(TextCatalog, GivesTextsAndShowsWhatIsMissing)
{
    EXPECT_EQ(Load(R"({"7": "Lichtleistung", "2147483647": "Gr\u00fc\u00df", "8": ""})"), "");
    EXPECT_EQ(mCatalog.GetText(7), "Lichtleistung");
    EXPECT_EQ(mCatalog.GetText(2147483647), "Gr\xC3\xBC\xC3\x9F");
    EXPECT_EQ(mCatalog.GetText(8), "");
    EXPECT_EQ(mCatalog.GetText(0), "");
    EXPECT_EQ(mCatalog.GetText(9), "#9");
    EXPECT_EQ(mCatalog.GetText(-3), "#-3");
    EXPECT_EQ(Load("{}"), "");
    EXPECT_EQ(mCatalog.GetSize(), 0u); // everything was replaced
}

TEST_F(TextCatalog, RefusalSaysWhyAndKeepsTheOldTexts)
{
    ASSERT_EQ(Load(R"({"1": "old"})"), "");
    const std::string deep = "{\"1\": " + std::string(2000, '[') + std::string(2000, ']') + "}";
    const std::pair<std::string, const char*> cases[] = {
        {"", "Line 1"},
        {"[\"1\"]", "is not a JSON object"},
        {"7", "must be either an array or an object"},
        {R"({"1": "x")", "Line 1"},
        {R"({"1": "x"} {})", "Extra non-whitespace"},
        {R"({"1": "x", "1": "y"})", "Duplicate key"},
        {R"({"one": "x"})", "\"one\" is not a whole number"},
        {R"({"0": "x"})", "\"0\" is not a whole number"},
        {R"({"-1": "x"})", "\"-1\" is not a whole number"},
        {R"({"01": "x"})", "\"01\" is not a whole number"},
        {R"({"2147483648": "x"})", "is not a whole number"},
        {R"({"": "x"})", "\"\" is not a whole number"},
        {R"({"5": 5})", "the text of id \"5\" is not a string"},
        {R"({"5": {"a": "b"}})", "the text of id \"5\" is not a string"},
        {"{\"5\": \"a\\u0000b\"}", "the text of id \"5\" holds a NUL"},
        {"{\"5\": \"\xFF\"}", "not UTF-8"},
        {deep, "stackLimit"},
        {std::string(4 * 1024 * 1024 + 1, ' '), "is larger than 4194304 bytes"},
    };
    for (const auto& [content, reason] : cases)
    {
        SCOPED_TRACE(content.substr(0, 40));
        const std::string text = Load(content);
        EXPECT_EQ(text.find("Unable to read texts from " + mPath + ": "), 0u) << text;
        EXPECT_THAT(text, testing::HasSubstr(reason));
        EXPECT_EQ(text.find('\n'), std::string::npos);
        EXPECT_EQ(mCatalog.GetText(1), "old");
    }
    mPath = mFolder.File("none.json");
    EXPECT_EQ(LoadFile(), "Unable to read texts from " + mPath + ": there is no such file");
}
