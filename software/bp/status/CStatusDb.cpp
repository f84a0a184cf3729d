// A change is complete before the first listener hears of it.
#include "software/bp/status/CStatusDb.h"

#include "software/bp/status/IStatusListener.h"
#include "software/bp/status/NStatusText.h"
#include "software/include/ILog.h"
#include "software/utility/CException.h"

#include <algorithm>
#include <utility>

namespace
{
constexpr char kSource[] = "software/bp/status/CStatusDb";

std::string Harmless(std::string_view text, std::size_t maxBytes)
{
    std::string harmless;
    NStatusText::MakeHarmless(text, maxBytes, harmless);
    return harmless;
}

std::string Quoted(std::string_view text) // a name of any length in a message
{
    return Harmless(text, NStatusText::kMaxGroup);
}
} // namespace

CStatusDb::CStatusDb(ILog& log)
    : mLog(log)
{
}

// --- Groups and items --------------------------------------------------------------------------------------

void CStatusDb::AddGroup(const std::string& group, const std::string& icon, const std::string& name)
{
    // A name that would have to be changed is refused: nobody would find the group by it.
    if (group.empty() || group == kSummaryName || group == kAlarmsName || Quoted(group) != group)
        throw CException(__func__, kSource, __LINE__, false, "Invalid status group name %s",
                         Quoted(group).c_str());
    const auto [entry, isNew] = mGroups.try_emplace(group);
    if (!isNew)
        throw CException(__func__, kSource, __LINE__, false, "Status group %s already exists", group.c_str());
    SStatusGroup& info = entry->second.mInfo;
    info.mGroup = group;
    info.mName = name.empty() ? group : Harmless(name, NStatusText::kMaxGroup);
    info.mIcon = Harmless(icon, NStatusText::kMaxGroup);
    mOrder.push_back(&entry->second);
    Announce([](IStatusListener& listener) { listener.OnStatusSummary(); });
}

void CStatusDb::AddItem(std::string_view group, int index, std::string_view description, int order)
{
    const auto found = mGroups.find(group);
    if (found == mGroups.end())
        throw CException(__func__, kSource, __LINE__, false, "%s %s", NStatusText::kUnknownGroup,
                         Quoted(group).c_str());
    auto& [name, entry] = *found;
    const auto [item, isNew] = entry.mItems.try_emplace(index);
    if (!isNew)
        throw CException(__func__, kSource, __LINE__, false, "Status item %d already exists in group %s",
                         index, name.c_str());
    SStatus& status = item->second;
    status.mIndex = index;
    status.mGroup = name;
    status.mDescription = Harmless(description, NStatusText::kMaxDescription);
    entry.mShown.emplace(std::make_pair(order, index), &status);
    Announce([&status](IStatusListener& listener) { listener.OnStatusItem(status); });
}

bool CStatusDb::Set(std::string_view group, int index, EStatusLevel status, std::string_view value)
{
    const auto found = mGroups.find(group);
    if (found == mGroups.end())
        return false;
    SGroup& entry = found->second;
    const auto position = entry.mItems.find(index);
    if (position == entry.mItems.end())
        return false;
    SStatus& item = position->second;
    if (item.mStatus == status && item.mValue == value)
        return true; // as nearly always: what is held is harmless, so equal bytes are, too
    NStatusText::MakeHarmless(value, NStatusText::kMaxValue, mText);
    const EStatusLevel before = std::exchange(item.mStatus, status);
    if (item.mStatus == before && item.mValue == mText)
        return true;
    item.mValue = mText;
    const bool isNewSummary = UpdateSummary(entry);

    if (before != status)
        LogChange(item, before);
    Announce([&item](IStatusListener& listener) { listener.OnStatusItem(item); });
    if (isNewSummary)
        Announce([](IStatusListener& listener) { listener.OnStatusSummary(); });
    if (before != status)
        Announce([](IStatusListener& listener) { listener.OnStatusAlarms(); });
    return true;
}

// @returns whether the group's status is another one now
bool CStatusDb::UpdateSummary(SGroup& group)
{
    EStatusLevel worst = eStatusOk;
    for (const auto& entry : group.mItems)
        worst = std::max(worst, entry.second.mStatus);
    return std::exchange(group.mInfo.mStatus, worst) != worst;
}

void CStatusDb::LogChange(const SStatus& item, EStatusLevel before) const
{
    const char* const group = item.mGroup.c_str();
    const char* const description = item.mDescription.c_str();
    const char* const value = item.mValue.c_str();
    if (item.mStatus == eStatusOk)
        mLog.LogFYI(eFyiGeneral, "%s: %s is OK again (%s)", group, description, value);
    else if (item.mStatus > before)
        mLog.LogWarning("%s: %s raises %s (%s)", group, description,
                        item.mStatus == eStatusAlarm ? "an alarm" : "a warning", value);
    else
        mLog.LogFYI(eFyiGeneral, "%s: %s is down to a warning (%s)", group, description, value);
}

// --- Questions ---------------------------------------------------------------------------------------------

const CStatusDb::SGroup* CStatusDb::FindGroup(std::string_view group) const
{
    const auto found = mGroups.find(group);
    return found == mGroups.end() ? nullptr : &found->second;
}

bool CStatusDb::HasGroup(std::string_view group) const
{
    return FindGroup(group) != nullptr;
}

std::vector<SStatusGroup> CStatusDb::GetSummary() const
{
    std::vector<SStatusGroup> summary;
    summary.reserve(mOrder.size());
    for (const SGroup* group : mOrder)
        summary.push_back(group->mInfo);
    return summary;
}

bool CStatusDb::GetStatusGroup(std::string_view group, std::vector<SStatus>& items) const
{
    items.clear();
    const SGroup* const found = FindGroup(group);
    if (found == nullptr)
        return false;
    for (const auto& entry : found->mItems)
        items.push_back(entry.second);
    return true;
}

bool CStatusDb::GetOrderedStatusGroup(std::string_view group, std::vector<SStatus>& items) const
{
    items.clear();
    const SGroup* const found = FindGroup(group);
    if (found == nullptr)
        return false;
    for (const auto& entry : found->mShown)
        items.push_back(*entry.second);
    return true;
}

const SStatus* CStatusDb::GetItem(std::string_view group, int index) const
{
    const SGroup* const found = FindGroup(group);
    if (found == nullptr)
        return nullptr;
    const auto item = found->mItems.find(index);
    return item == found->mItems.end() ? nullptr : &item->second;
}

std::vector<SStatus> CStatusDb::GetAlarms() const
{
    std::vector<SStatus> alarms;
    for (const SGroup* group : mOrder)
    {
        if (group->mInfo.mStatus == eStatusOk)
            continue;
        for (const auto& entry : group->mShown)
            if (entry.second->mStatus != eStatusOk)
                alarms.push_back(*entry.second);
    }
    std::stable_sort(alarms.begin(), alarms.end(),
                     [](const SStatus& a, const SStatus& b) { return a.mStatus > b.mStatus; });
    return alarms;
}

// --- Listeners ---------------------------------------------------------------------------------------------

void CStatusDb::AddListener(IStatusListener& listener)
{
    mListeners.push_back(&listener);
}

void CStatusDb::RemoveListener(IStatusListener& listener)
{
    std::replace(mListeners.begin(), mListeners.end(), &listener, static_cast<IStatusListener*>(nullptr));
    if (mNesting == 0) // else a walk is under way, and cleans up at its end
        mListeners.erase(std::remove(mListeners.begin(), mListeners.end(), nullptr), mListeners.end());
}

template <class Tell>
void CStatusDb::Announce(Tell tell)
{
    if (mNesting == kMaxNesting)
    {
        mLog.LogWarning("Status changes nested deeper than %u are not announced", kMaxNesting);
        return;
    }
    struct SWalk
    {
        explicit SWalk(CStatusDb& db)
            : mDb(db)
        {
            ++mDb.mNesting;
        }
        ~SWalk()
        {
            auto& listeners = mDb.mListeners;
            if (--mDb.mNesting == 0)
                listeners.erase(std::remove(listeners.begin(), listeners.end(), nullptr), listeners.end());
        }
        CStatusDb& mDb;
    } const walk(*this);

    const std::size_t count = mListeners.size(); // who comes during the walk is told of the next change
    for (std::size_t i = 0; i < count; ++i)
        if (IStatusListener* const listener = mListeners[i])
            tell(*listener);
}
