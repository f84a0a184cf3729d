// A way to reach a projector.
#pragma once

#include "apps/lanternctl/CControlInfo.h"

#include <chrono>
#include <json/value.h>
#include <optional>
#include <string>
#include <vector>

/// The sub-commands know no transport: they ask this. Each operation throws `CCommandFailure`: `Refused` with
/// "SUBJECT: TEXT (CODE)" when the projector answers an error, `NoConnection` when it cannot be reached, does
/// not answer in time, or goes away. Codes are given in upper case.
class IProjectorLink
{
public:
    enum class EWait
    {
        Change,      ///< one was taken
        Elapsed,     ///< nothing happened in time
        Interrupted, ///< the other descriptor has something to say
    };
    /// What a control is described for: a slow line is asked no more than that.
    enum class ENeed
    {
        Show, ///< to show its values
        Set,  ///< to take a value from a person
        All,  ///< for itself
    };

    virtual ~IProjectorLink() = default;

    /// @returns the raw members, {"code": ..., "value": ...}
    virtual Json::Value Get(const std::string& code) = 0;
    /// @returns the raw members after the change
    virtual Json::Value Set(const std::string& code, const Json::Value& value) = 0;
    /// What the projector tells about one control; nothing when it describes no such code, or not to us.
    virtual std::optional<CControlInfo> Describe(const std::string& code, ENeed need) = 0;

    // Status. An item is {"idx", "group", "status", "value", "desc"}.

    virtual std::vector<std::string> GetStatusGroups() = 0; ///< their names, in order
    virtual std::vector<Json::Value> GetStatusItems(const std::string& group) = 0;
    virtual std::vector<Json::Value> GetAlarms() = 0;

    /// Subscribes to all of these controls, or to none. Their state comes as the first changes.
    virtual void Watch(const std::vector<std::string>& codes) = 0;
    /// Subscribes to the alarms. Those that are active come as the first change.
    virtual void WatchAlarms() = 0;
    /// Waits for a change of a watched control, or of the alarms.
    /// @param change      the raw members, {"code": ...} and what changed, or {"alarms": [item, ...]} with
    ///                    all that are active; written for `Change` only
    /// @param timeout     longest wait; nothing: for ever
    /// @param interrupt   a descriptor that ends the wait when it is readable
    virtual EWait WaitForChange(Json::Value& change, std::optional<std::chrono::milliseconds> timeout,
                                int interrupt) = 0;
};
