// How the status database tells of what changed.
#pragma once

struct SStatus;

/// Called from within the change, on the thread that makes it. A listener may ask the database anything,
/// change it, and add or remove listeners.
class IStatusListener
{
public:
    virtual ~IStatusListener() = default;

    virtual void OnStatusItem(const SStatus& item) = 0; ///< status, value or both are new, or the item is
    virtual void OnStatusSummary() = 0;                 ///< a group's status is new, or the group is
    virtual void OnStatusAlarms() = 0; ///< an alarm was raised or cleared, or became better or worse
};
