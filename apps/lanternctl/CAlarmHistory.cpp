// A difference of two lists.
#include "apps/lanternctl/CAlarmHistory.h"

#include "apps/lanternctl/NStatusTable.h"

std::vector<CAlarmHistory::SEvent> CAlarmHistory::Take(const Json::Value& alarms)
{
    const EEvent appeared = mHasBegun ? EEvent::Raised : EEvent::Active;
    mHasBegun = true;
    std::vector<SEvent> events;
    std::map<Key, Json::Value> before;
    before.swap(mActive);
    for (const Json::Value& alarm : alarms)
    {
        if (!alarm.isObject() || !alarm["group"].isString() || !alarm["idx"].isInt())
            continue;
        const Key key(alarm["group"].asString(), alarm["idx"].asInt());
        if (!mActive.emplace(key, alarm).second)
            continue; // told already
        const auto old = before.find(key);
        if (old == before.end())
            events.push_back({appeared, alarm});
        else if (NStatusTable::GetLevel(old->second) != NStatusTable::GetLevel(alarm))
            events.push_back({EEvent::Changed, alarm});
        if (old != before.end())
            before.erase(old);
    }
    for (const auto& entry : before)
        events.push_back({EEvent::Cleared, entry.second});
    return events;
}
