// One row an item; the row of a bad one has its colour.
#include "apps/lanternctl/NStatusTable.h"

#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/CTextTable.h"
#include "apps/lanternctl/NJsonDocument.h"
#include "software/bp/status/SStatus.h"

#include <algorithm>
#include <iterator>
#include <ostream>

namespace
{
struct SLevelRow
{
    int mLevel;
    const char* mWord;
    EEmphasis mEmphasis;
};
constexpr SLevelRow kLevels[] = {
    {eStatusOk, "OK", EEmphasis::None},
    {eStatusWarning, "warning", EEmphasis::Warning},
    {eStatusAlarm, "alarm", EEmphasis::Alarm},
};

const SLevelRow* FindLevel(const Json::Value& status)
{
    const auto row = std::find_if(std::begin(kLevels), std::end(kLevels),
                                  [&](const SLevelRow& level)
                                  { return status.isInt() && status.asInt() == level.mLevel; });
    return row == std::end(kLevels) ? nullptr : row;
}

std::string TextOf(const Json::Value& item, const char* member)
{
    const Json::Value& text = item[member];
    return text.isString() ? text.asString() : NJsonDocument::Compact(text);
}
} // namespace

std::string NStatusTable::GetWord(const Json::Value& status)
{
    const SLevelRow* const row = FindLevel(status);
    return row == nullptr ? NJsonDocument::Compact(status) : row->mWord;
}

int NStatusTable::GetLevel(const Json::Value& item)
{
    const Json::Value& status = item["status"];
    return status.isInt() ? status.asInt() : eStatusOk;
}

void NStatusTable::Print(CSession& session, std::vector<Json::Value> items, const char* whenNone)
{
    std::stable_sort(items.begin(), items.end(),
                     [](const Json::Value& a, const Json::Value& b) { return GetLevel(a) > GetLevel(b); });
    if (session.GetOptions().mJson)
    {
        for (const Json::Value& item : items)
            session.Out() << NJsonDocument::Compact(item) << '\n';
        return;
    }
    if (items.empty())
    {
        session.Out() << whenNone << '\n';
        return;
    }
    CTextTable table{"STATUS", "GROUP", "ITEM", "VALUE"};
    for (const Json::Value& item : items)
    {
        const SLevelRow* const row = FindLevel(item["status"]);
        table.AddRow(
            {GetWord(item["status"]), TextOf(item, "group"), TextOf(item, "desc"), TextOf(item, "value")},
            row == nullptr ? EEmphasis::None : row->mEmphasis);
    }
    table.Print(session.Out(), session.GetStyle());
}
