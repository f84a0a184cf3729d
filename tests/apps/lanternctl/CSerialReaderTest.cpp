#include "apps/lanternctl/CSerialReader.h"

#include <gtest/gtest.h>
#include <vector>

namespace
{
std::vector<std::string> TakeAll(CSerialReader& reader)
{
    std::vector<std::string> items;
    while (auto item = reader.Next())
        items.push_back(*item);
    return items;
}
} // namespace

TEST(SerialReader, FindsMessagesAndAcknowledgementsHoweverTheBytesAreCut)
{
    struct SRow
    {
        const char* mName;
        std::string mBytes;
        std::vector<std::string> mItems;
        bool mEndsInside;
    };
    const SRow rows[] = {
        {"messages", "(PWR!001)$(LUM!735)^", {"(PWR!001)", "$", "(LUM!735)", "^"}, false},
        {"noise between", "\xff\r\n)(A!1)\x01 !\"(B!2)", {"(A!1)", "(B!2)"}, false},
        {"prefix is no acknowledgement", "(&$PWR?)", {"(&$PWR?)"}, false},
        {"text", R"-((NME!"a\)\(\"$^b"))-", {R"-((NME!"a\)\(\"$^b"))-"}, false},
        {"quote as a hexadecimal digit", R"-((NME!"\h"x"))-", {R"-((NME!"\h"x"))-"}, false},
        {"text that breaks off", "(NME!\"a\n(B!2)", {"(B!2)"}, false},
        {"parenthesis in a text", "(NME!\"a)\"$", {"$"}, false},
        {"started afresh", "(PWR(LUM!735)", {"(LUM!735)"}, false},
        {"begun", "(LUM!735)(PWR", {"(LUM!735)"}, true},
        {"without end", "(" + std::string(20'000, 'x') + "$(A!1)", {"$", "(A!1)"}, false},
    };
    for (const SRow& row : rows)
    {
        SCOPED_TRACE(row.mName);
        CSerialReader whole;
        whole.Take(row.mBytes);
        EXPECT_EQ(TakeAll(whole), row.mItems);
        EXPECT_EQ(whole.IsInside(), row.mEndsInside);
        CSerialReader single;
        for (const char byte : row.mBytes)
            single.Take({&byte, 1});
        EXPECT_EQ(TakeAll(single), row.mItems);
    }
}
