// Turns lists of active alarms into what happened between them.
#pragma once

#include <json/value.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

/// Starts without any alarm.
class CAlarmHistory
{
public:
    enum class EEvent
    {
        Active, ///< was there when the first list came
        Raised,
        Changed, ///< became better or worse
        Cleared,
    };
    struct SEvent
    {
        EEvent mEvent;
        Json::Value mAlarm; ///< an item; of a cleared one as it was last seen
    };

    /// @param alarms  every alarm that is active now; what is no item is passed over
    /// @returns what the list before did not have, in its order, then what this one does not have
    std::vector<SEvent> Take(const Json::Value& alarms);

private:
    using Key = std::pair<std::string, int>; // group and index

    bool mHasBegun = false;
    std::map<Key, Json::Value> mActive;
};
