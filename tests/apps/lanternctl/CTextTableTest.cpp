#include "apps/lanternctl/CTextTable.h"

#include "apps/lanternctl/NDisplayText.h"

#include <gtest/gtest.h>
#include <sstream>

TEST(TextTable, ColumnsLineUpWhateverTheScript)
{
    CTextTable table{"CODE", "NAME", "VALUE"};
    table.AddRow({"LUM", "Lichtstärke", "73.5 %"}); // two bytes, one column
    table.AddRow({"NME", "名前", "on"});            // two columns each
    table.AddRow({"LOC", "Cafe\xcc\x81", "off"});   // an accent of its own takes none
    table.AddRow({"LHM", "", ""});
    std::ostringstream out;
    table.Print(out, CTerminalStyle());
    EXPECT_EQ(out.str(), "CODE  NAME         VALUE\n"
                         "LUM   Lichtstärke  73.5 %\n"
                         "NME   名前         on\n"
                         "LOC   Cafe\xcc\x81         off\n"
                         "LHM\n");
}

TEST(TextTable, ATextFromTheProjectorCannotSteerTheTerminal)
{
    CTextTable table;
    table.AddRow({"NTE", "one\ntwo\x1b[2J\x7f\xc2\x9b\xff"}); // C0, DEL, C1, and what is not UTF-8
    std::ostringstream out;
    table.Print(out, CTerminalStyle());
    EXPECT_EQ(out.str(), "NTE  one\\ntwo\\x1b[2J\\x7f\\x9b?\n");
}

TEST(DisplayText, ClippingKeepsWholeCharacters)
{
    const std::pair<std::string, std::string> rows[] = {
        {"four", "four"},
        {"fives", "fiv…"},
        {"äöüäö", "äöü…"},
        {"名前名", "名…"}, // a wide character that would stick out is left away
    };
    for (const auto& [text, clipped] : rows)
    {
        EXPECT_EQ(NDisplayText::Clip(text, 4), clipped);
    }
}
