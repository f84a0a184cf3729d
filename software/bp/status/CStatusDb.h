// How the projector is doing, item by item, and who wants to know.
#pragma once

#include "software/bp/status/SStatus.h"

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class ILog;
class IStatusListener;

/// Holds every status item, in groups. The status of a group is that of its worst item; an item that is not
/// OK is an active alarm. Every text is made harmless on its way in (`NStatusText::MakeHarmless`), so that
/// what comes out can be sent as it is. Used from the loop's thread; it takes no locks.
class CStatusDb
{
public:
    /// Names that clients subscribe to the summary and to the alarms by; no group may have them.
    static constexpr char kSummaryName[] = "SUMM";
    static constexpr char kAlarmsName[] = "ALRM";
    /// Changes that listeners make from within a change are announced down to this depth; deeper ones are
    /// stored, and logged.
    static constexpr unsigned kMaxNesting = 8;

    explicit CStatusDb(ILog& log); ///< the log is told of every alarm; not owned
    CStatusDb(const CStatusDb&) = delete;
    CStatusDb& operator=(const CStatusDb&) = delete;

    /// Adds a group behind the others.
    /// @param group  shares its name space with the codes of controls when somebody subscribes
    /// @param name   for people; empty: as the group
    /// @throws CException "Invalid status group name %s", "Status group %s already exists"
    void AddGroup(const std::string& group, const std::string& icon = {}, const std::string& name = {});
    /// Adds an item that is OK and has no value yet.
    /// @param order  place in the group's display order; items of equal place are shown by ascending index
    /// @throws CException "Cannot find status group %s", "Status item %d already exists in group %s"
    void AddItem(std::string_view group, int index, std::string_view description, int order = 0);

    /// Costs no allocation when nothing changes, and tells nobody then.
    /// @returns false when there is no such item
    bool Set(std::string_view group, int index, EStatusLevel status, std::string_view value);

    std::vector<SStatusGroup> GetSummary() const; ///< in the order in which the groups were added
    bool HasGroup(std::string_view group) const;
    /// The items of a group by ascending index, or in its display order. @returns false for an unknown group
    bool GetStatusGroup(std::string_view group, std::vector<SStatus>& items) const;
    bool GetOrderedStatusGroup(std::string_view group, std::vector<SStatus>& items) const;
    const SStatus* GetItem(std::string_view group, int index) const; ///< null when there is none
    std::vector<SStatus> GetAlarms() const; ///< the worst first, those of equal status in display order

    void AddListener(IStatusListener& listener); ///< not owned; told of every change from the next one on
    void RemoveListener(IStatusListener& listener);

private:
    struct SGroup
    {
        SStatusGroup mInfo;
        std::map<int, SStatus> mItems;                        // by index; an item never moves
        std::map<std::pair<int, int>, const SStatus*> mShown; // by place in the display order and index
    };

    const SGroup* FindGroup(std::string_view group) const;
    static bool UpdateSummary(SGroup& group);
    void LogChange(const SStatus& item, EStatusLevel before) const;
    template <class Tell>
    void Announce(Tell tell);

    ILog& mLog;
    std::map<std::string, SGroup, std::less<>> mGroups; // by name; a group never moves
    std::vector<SGroup*> mOrder;
    std::vector<IStatusListener*> mListeners; // null for one that left during a walk
    unsigned mNesting = 0;
    std::string mText; // keeps its memory from one change to the next
};
