// Reading methods first, then subscriptions, then what is sent to them.
#include "software/bp/c4j/CC4jStatus.h"

#include "software/bp/c4j/NJsonMember.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/status/CStatusDb.h"
#include "software/bp/status/NStatusText.h"
#include "software/include/ILog.h"
#include "software/jsonrpc/NJsonText.h"
#include "software/utility/CException.h"

#include <algorithm>
#include <cstdio>
#include <utility>
#include <vector>

namespace
{
constexpr char kSource[] = "software/bp/c4j/CC4jStatus";
constexpr char kModule[] = "status";
constexpr unsigned kModuleVersion = 1;

constexpr char kUnknownModifier[] = "Unknown modifier";
constexpr char kNoRange[] = "Group doesn't support range checking";

constexpr char kNotifySummary[] = "status:notifyGroupSummary";
constexpr char kNotifyAlarms[] = "status:notifyAlarms";
constexpr char kNotifyItems[] = "status:notifyItems";
constexpr char kGroupNotify[] = "status:groupNotify";
constexpr char kAlarmNotify[] = "status:alarmNotify";

constexpr char kRange[] = "range";
constexpr char kNoModifier[] = "unknown"; // stands for one that is no text

// Members that only these objects have.
const Json::StaticString kGroup("group");
const Json::StaticString kName("name");
const Json::StaticString kStatus("status");
const Json::StaticString kDescription("desc");

constexpr Json::ArrayIndex kGroupIndex = 0;
constexpr Json::ArrayIndex kLoneSendNowIndex = 0;

Json::Value ItemObject(const SStatus& item)
{
    Json::Value object(Json::objectValue);
    object[NJsonMember::kIdx] = item.mIndex;
    object[kGroup] = item.mGroup;
    object[kStatus] = static_cast<int>(item.mStatus);
    object[NJsonMember::kValue] = item.mValue;
    object[kDescription] = item.mDescription;
    return object;
}

Json::Value ItemArray(const std::vector<SStatus>& items)
{
    Json::Value array(Json::arrayValue); // also when there are none
    for (const SStatus& item : items)
        array.append(ItemObject(item));
    return array;
}

std::string PrintNotification(const char* method, Json::Value&& params)
{
    Json::Value message(Json::objectValue);
    message[NJsonMember::kJsonRpc] = NJsonMember::kJsonRpcVersion;
    message[NJsonMember::kMethod] = method;
    message[NJsonMember::kParams] = std::move(params);
    std::string text;
    NJsonText::Append(message, text);
    return text;
}

/// The group that a reading method is about; empty when there is none.
std::string GroupOf(const Json::Value& params)
{
    return params.isArray() ? CC4jBaseHandler::GetStringFromArray(params, kGroupIndex)
                            : CC4jBaseHandler::GetStringFromObj(params, kGroup, {});
}

std::string ModifierOf(const Json::Value& params)
{
    return CC4jBaseHandler::ValueExistInObj(params, NJsonMember::kModifier)
               ? CC4jBaseHandler::GetStringFromObj(params, NJsonMember::kModifier, kNoModifier)
               : std::string();
}

/// The names that a listener method was given, known or not.
std::list<std::string> NamesOf(const Json::Value& params)
{
    if (params.isArray())
        return {CC4jBaseHandler::GetStringFromArray(params, kGroupIndex)};
    std::list<std::string> names = CC4jBaseHandler::GetStringsFromObj(params, kGroup);
    names.splice(names.end(), CC4jBaseHandler::GetStringsFromObj(params, NJsonMember::kNotifyMethod));
    return names;
}

std::string Join(const std::list<std::string>& names)
{
    std::string joined;
    for (const std::string& name : names)
        joined += (joined.empty() ? "" : " ") + name;
    return joined;
}

/// Whether a listener of one fixed name wants its state at once: [sendNow] or {"sendNow": bool}.
bool WantsStateNow(const Json::Value& params)
{
    return params.isArray() ? CC4jBaseHandler::GetBoolFromArray2(params, kLoneSendNowIndex, true)
                            : CC4jBaseHandler::GetBoolFromObj(params, NJsonMember::kSendNow, true);
}
} // namespace

CC4jStatus::CC4jStatus(CJsonRpcServer& server, CStatusDb& status)
    : CC4jBaseHandler(server, kModule, kModuleVersion)
    , mStatus(status)
{
    static constexpr SMethod<CC4jStatus> kMethods[] = {
        {"status:version", &CC4jStatus::Version},
        {"status:getGroups", &CC4jStatus::GetGroups},
        {"status:getItems", &CC4jStatus::GetItems},
        {"status:getItem", &CC4jStatus::GetItem},
        {"status:addListener", &CC4jStatus::AddListener},
        {"status:removeListener", &CC4jStatus::RemoveListener},
        {"status:getAlarms", &CC4jStatus::GetAlarms},
        {"status:addGroupListener", &CC4jStatus::AddGroupListener},
        {"status:removeGroupListener", &CC4jStatus::RemoveGroupListener},
        {"status:addAlarmListener", &CC4jStatus::AddAlarmListener},
        {"status:removeAlarmListener", &CC4jStatus::RemoveAlarmListener},
    };
    AddMethods(*this, kMethods);
    mStatus.AddListener(*this);
}

CC4jStatus::~CC4jStatus()
{
    mStatus.RemoveListener(*this);
}

void CC4jStatus::AddGroupAdditionalHandler(const std::string& group, IAdditionalStatusInfoHandler& handler)
{
    mAdditional[group] = &handler;
}

// --- Reading -----------------------------------------------------------------------------------------------

bool CC4jStatus::GetGroups(const Json::Value& request, Json::Value& response)
{
    InitResponseObj(request, response);
    if (response.isNull())
        return true;
    LogReceived("status:getGroups", request);
    SetResult(response, GetGroupInfoArray());
    LogCompleted("status:getGroups", request);
    return true;
}

bool CC4jStatus::GetItems(const Json::Value& request, Json::Value& response)
{
    InitResponseObj(request, response);
    if (response.isNull())
        return true;
    const Json::Value& params = GetParams(request);
    const std::string group = GroupOf(params);
    const std::string modifier = ModifierOf(params);
    LogReceived("status:getItems", request, group);
    const auto additional = mAdditional.find(group);
    const char* refusal = nullptr;
    if (!mStatus.HasGroup(group))
        refusal = NStatusText::kUnknownGroup;
    else if (!modifier.empty() && modifier != kRange)
        refusal = kUnknownModifier;
    else if (modifier == kRange && additional == mAdditional.end())
        refusal = kNoRange;
    if (refusal != nullptr)
    {
        MakeErrorResponse(request, response, eErrorUnknownRequest, refusal);
        return true;
    }
    SetResult(response, modifier == kRange ? additional->second->GetRange(group) : GetGroupDataArray(group));
    LogCompleted("status:getItems", request, group);
    return true;
}

bool CC4jStatus::GetItem(const Json::Value& request, Json::Value& response)
{
    InitResponseObj(request, response);
    if (response.isNull())
        return true;
    const Json::Value& params = GetParams(request);
    const std::string group = GetStringFromObj(params, kGroup, {});
    const Json::Value& index =
        ValueExistInObj(params, NJsonMember::kIdx) ? params[NJsonMember::kIdx] : Json::Value::nullSingleton();
    LogReceived("status:getItem", request, group);
    try
    {
        if (!index.isInt())
            throw CException(__func__, kSource, __LINE__, false, "%s", NStatusText::kUnknownItem);
        SetResult(response, GetItemDataArray(group, index.asInt()));
    }
    catch (const CException&)
    {
        MakeErrorResponse(request, response, eErrorUnknownRequest, NStatusText::kUnknownItem);
        return true;
    }
    LogCompleted("status:getItem", request, group);
    return true;
}

bool CC4jStatus::GetAlarms(const Json::Value& request, Json::Value& response)
{
    InitResponseObj(request, response);
    if (response.isNull())
        return true;
    LogReceived("status:getAlarms", request);
    SetResult(response, GetAlarmDataArray());
    LogCompleted("status:getAlarms", request);
    return true;
}

Json::Value CC4jStatus::GetGroupInfoArray() const
{
    Json::Value array(Json::arrayValue);
    for (const SStatusGroup& group : mStatus.GetSummary())
    {
        Json::Value& object = array.append(Json::Value(Json::objectValue));
        object[kName] = group.mName;
        object[kGroup] = group.mGroup;
        object[kStatus] = static_cast<int>(group.mStatus);
        object[NJsonMember::kIcon] = group.mIcon;
    }
    return array;
}

Json::Value CC4jStatus::GetGroupDataArray(const std::string& group) const
{
    std::vector<SStatus> items;
    mStatus.GetOrderedStatusGroup(group, items);
    return ItemArray(items);
}

Json::Value CC4jStatus::GetItemDataArray(const std::string& group, int idx) const
{
    const SStatus* const item = mStatus.GetItem(group, idx);
    if (item == nullptr)
        throw CException(__func__, kSource, __LINE__, false, "Cannot find status item %d in group %s", idx,
                         group.c_str());
    return ItemArray({*item});
}

Json::Value CC4jStatus::GetAlarmDataArray() const
{
    return ItemArray(mStatus.GetAlarms());
}

// --- Subscriptions -----------------------------------------------------------------------------------------

bool CC4jStatus::AddListener(const Json::Value& request, Json::Value& response)
{
    const Json::Value& params = GetParams(request);
    const std::string names = Join(NamesOf(params));
    LogReceivedListener("status:addListener", request, names, GetSendNow(params, true));
    CC4jBaseHandler::AddListener(request, response);
    if (!ValueExistInObj(response, NJsonMember::kError))
        LogCompleted("status:addListener", request, names);
    return true;
}

bool CC4jStatus::RemoveListener(const Json::Value& request, Json::Value& response)
{
    const std::string names = Join(NamesOf(GetParams(request)));
    LogReceived("status:removeListener", request, names);
    CC4jBaseHandler::RemoveListener(request, response);
    if (!ValueExistInObj(response, NJsonMember::kError))
        LogCompleted("status:removeListener", request, names);
    return true;
}

bool CC4jStatus::AddGroupListener(const Json::Value& request, Json::Value& response)
{
    return Subscribe("status:addGroupListener", CStatusDb::kSummaryName, request, response);
}

bool CC4jStatus::RemoveGroupListener(const Json::Value& request, Json::Value& response)
{
    return Unsubscribe("status:removeGroupListener", CStatusDb::kSummaryName, request, response);
}

bool CC4jStatus::AddAlarmListener(const Json::Value& request, Json::Value& response)
{
    return Subscribe("status:addAlarmListener", CStatusDb::kAlarmsName, request, response);
}

bool CC4jStatus::RemoveAlarmListener(const Json::Value& request, Json::Value& response)
{
    return Unsubscribe("status:removeAlarmListener", CStatusDb::kAlarmsName, request, response);
}

bool CC4jStatus::Subscribe(const char* method, const char* name, const Json::Value& request,
                           Json::Value& response)
{
    InitResponseObj(request, response);
    const bool sendNow = WantsStateNow(GetParams(request));
    LogReceivedListener(method, request, name, sendNow);
    std::string descriptor;
    if (!FindSubscriber(request, response, descriptor))
        return true;
    mDispatcher.GetNotificationManager().NotifyRegister(name, descriptor);
    if (sendNow)
        SendState(name, descriptor);
    SetEmptyResult(response);
    LogCompleted(method, request, name);
    return true;
}

bool CC4jStatus::Unsubscribe(const char* method, const char* name, const Json::Value& request,
                             Json::Value& response)
{
    InitResponseObj(request, response);
    LogReceived(method, request, name);
    std::string descriptor;
    if (!FindSubscriber(request, response, descriptor))
        return true;
    mDispatcher.GetNotificationManager().NotifyUnregister(name, descriptor, false);
    SetEmptyResult(response);
    LogCompleted(method, request, name);
    return true;
}

bool CC4jStatus::IsSubscribable(const std::string& name) const
{
    return name == CStatusDb::kSummaryName || name == CStatusDb::kAlarmsName || name == kNotifySummary ||
           name == kNotifyAlarms || mStatus.HasGroup(name);
}

std::list<std::string> CC4jStatus::GetNotifyMethods(const Json::Value& params) const
{
    std::list<std::string> names = NamesOf(params);
    const bool isAllKnown = std::all_of(names.begin(), names.end(),
                                        [this](const std::string& name) { return IsSubscribable(name); });
    if (!isAllKnown)
        names.clear();
    return names;
}

bool CC4jStatus::FindNames(const Json::Value& request, Json::Value& response,
                           std::list<std::string>& names) const
{
    names = GetNotifyMethods(GetParams(request));
    if (!names.empty())
        return true;
    const std::list<std::string> given = NamesOf(GetParams(request));
    const bool isMissing =
        std::all_of(given.begin(), given.end(), [](const std::string& name) { return name.empty(); });
    if (isMissing)
        MakeErrorResponse(request, response, eErrorTooFewParameters, NStatusText::kMissingGroup);
    else
        MakeErrorResponse(request, response, eErrorUnknownRequest, NStatusText::kUnknownGroup);
    return false;
}

void CC4jStatus::SendState(const std::string& name, const std::string& descriptor)
{
    if (name == CStatusDb::kSummaryName)
        MakeSummaryNotification({descriptor});
    else if (name == CStatusDb::kAlarmsName)
        MakeAlarmNotification({descriptor});
    else
        SendNotification(name, {descriptor});
}

// --- Notifications -----------------------------------------------------------------------------------------

void CC4jStatus::OnStatusItem(const SStatus& item)
{
    Notify(item.mGroup, item.mIndex, item.mDescription, item.mStatus, item.mValue);
}

void CC4jStatus::OnStatusSummary()
{
    NotifySummary();
}

void CC4jStatus::OnStatusAlarms()
{
    const std::vector<SStatus> alarms = mStatus.GetAlarms();
    NotifyAlarms({alarms.begin(), alarms.end()});
}

void CC4jStatus::Notify(const std::string& group, int idx, const std::string& desc, int status,
                        const std::string& value)
{
    std::list<std::string> recipients;
    mDispatcher.GetC4jNotifyRecipientList(group, recipients);
    if (recipients.empty())
        return;
    std::snprintf(mBuffer.data(), mBuffer.size(),
                  R"({"jsonrpc":"2.0","method":"status:notify","params":[{"idx":%d,"group":"%s","status":%d,)"
                  R"("desc":"%s","value":"%s"}]})",
                  idx, group.c_str(), status, desc.c_str(), value.c_str());
    CC4jBaseHandler::SendNotification(mBuffer.data(), std::move(recipients));
}

void CC4jStatus::NotifyAlarms(const std::list<SStatus>& alarms)
{
    SJsonNotify notify;
    mDispatcher.GetC4jNotifyRecipientList(CStatusDb::kAlarmsName, notify.mClients);
    notify.mClients.splice(notify.mClients.end(), GetOtherRecipients(kNotifyAlarms, CStatusDb::kAlarmsName));
    if (notify.mClients.empty())
        return;
    notify.mText = PrintNotification(kNotifyAlarms, ItemArray({alarms.begin(), alarms.end()}));
    mServer.NotifyPush(kNotifyAlarms, notify, kAlarmDelayMs);
}

void CC4jStatus::NotifySummary()
{
    std::list<std::string> others = GetOtherRecipients(kNotifySummary, CStatusDb::kSummaryName);
    std::list<std::string> recipients;
    mDispatcher.GetC4jNotifyRecipientList(CStatusDb::kSummaryName, recipients);
    MakeSummaryNotification(std::move(recipients));
    SendNotification(kNotifySummary, std::move(others));
}

// Who subscribed to one name only: whoever has both is told by the other.
std::list<std::string> CC4jStatus::GetOtherRecipients(const char* name, const char* otherName) const
{
    const CNotificationManager& manager = mDispatcher.GetNotificationManager();
    std::list<std::string> recipients;
    manager.GetC4jRecipientList(name, recipients);
    recipients.remove_if([&](const std::string& recipient)
                         { return manager.GetCount(otherName, recipient) > 0; });
    return recipients;
}

void CC4jStatus::MakeSummaryNotification(std::list<std::string> recipients)
{
    if (!recipients.empty())
        CC4jBaseHandler::SendNotification(PrintNotification(kGroupNotify, GetGroupInfoArray()),
                                          std::move(recipients));
}

void CC4jStatus::MakeAlarmNotification(std::list<std::string> recipients)
{
    if (!recipients.empty())
        CC4jBaseHandler::SendNotification(PrintNotification(kAlarmNotify, GetAlarmDataArray()),
                                          std::move(recipients));
}

void CC4jStatus::SendNotification(const std::string& name, std::list<std::string> recipients)
{
    if (recipients.empty())
        return;
    const char* method = name.c_str();
    Json::Value params;
    if (name == kNotifySummary)
        params = GetGroupInfoArray();
    else if (name == kNotifyAlarms)
        params = GetAlarmDataArray();
    else if (mStatus.HasGroup(name)) // which no group is that is called as the alarms are
    {
        method = kNotifyItems;
        params = GetGroupDataArray(name);
    }
    if (!params.isNull())
        CC4jBaseHandler::SendNotification(PrintNotification(method, std::move(params)),
                                          std::move(recipients));
}

// --- Log lines of the steps, put together only when somebody keeps them ------------------------------------

void CC4jStatus::LogReceived(const char* method, const Json::Value& request, const std::string& detail) const
{
    if (mLog.IsEnabled(ELogLevel::Debug))
        mLog.LogDebug("Recv'd '%s' from %s%s%s", method, GetClientIdString(request).c_str(),
                      detail.empty() ? "" : ": ", detail.c_str());
}

void CC4jStatus::LogCompleted(const char* method, const Json::Value& request, const std::string& detail) const
{
    if (mLog.IsEnabled(ELogLevel::Debug))
        mLog.LogDebug("Completed '%s' from %s%s%s", method, GetClientIdString(request).c_str(),
                      detail.empty() ? "" : ": ", detail.c_str());
}

void CC4jStatus::LogReceivedListener(const char* method, const Json::Value& request, const std::string& names,
                                     bool sendNow) const
{
    if (mLog.IsEnabled(ELogLevel::Debug))
        mLog.LogDebug("Recv'd '%s' from %s: %s %s", method, GetClientIdString(request).c_str(), names.c_str(),
                      sendNow ? "(sendNow)" : "");
}
