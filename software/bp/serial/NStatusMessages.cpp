// One layout for items, groups and alarms.
#include "software/bp/serial/NStatusMessages.h"

#include "software/bp/serial/NIpcMsgUtil.h"
#include "software/bp/status/CStatusDb.h"
#include "software/bp/status/NStatusText.h"
#include "software/utility/CIpcMessage.h"

#include <string>
#include <utility>
#include <vector>

namespace
{
void AddItem(CIpcMessage& answer, const SStatus& item)
{
    answer.AddArg(eIpcStatusIndex, item.mIndex);
    answer.AddArg(eIpcStatusGroup, item.mGroup);
    answer.AddArg(eIpcStatusLevel, static_cast<int>(item.mStatus));
    answer.AddArg(eIpcStatusValue, item.mValue);
    answer.AddArg(eIpcStatusDescription, item.mDescription);
}

std::vector<SStatus> SummaryItems(const CStatusDb& status)
{
    std::vector<SStatus> items;
    for (SStatusGroup& group : status.GetSummary())
        items.push_back({static_cast<int>(items.size()),
                         std::move(group.mGroup),
                         group.mStatus,
                         std::move(group.mIcon),
                         {}});
    return items;
}

// @returns the error, with the items otherwise
EError FindItems(const CStatusDb& status, const CIpcMessage& request, const std::string& name,
                 std::vector<SStatus>& items)
{
    std::string unused;
    if (name == CStatusDb::kSummaryName)
        items = SummaryItems(status);
    else if (name == CStatusDb::kAlarmsName)
        items = status.GetAlarms();
    else if (!request.GetArg(NStatusMessages::kIndexKey, unused))
        return status.GetOrderedStatusGroup(name, items) ? eErrorNone : eErrorUnknownRequest;
    else
    {
        int index = 0;
        const bool isNumber = request.IsNumberArg(NStatusMessages::kIndexKey) &&
                              request.GetArg(NStatusMessages::kIndexKey, index);
        const SStatus* const item = isNumber ? status.GetItem(name, index) : nullptr;
        if (item == nullptr)
            return eErrorUnknownRequest;
        items.push_back(*item);
    }
    return eErrorNone;
}
} // namespace

void NStatusMessages::AnswerRequest(const CStatusDb& status, const CIpcMessage& request,
                                    const CIpcMessage& reply, std::list<CIpcMessage>& answers)
{
    std::string name;
    if (!request.GetArg(kNameKey, name))
        return NIpcMsgUtil::MakeErrorResponse(answers.emplace_back(reply), eErrorTooFewParameters,
                                              NStatusText::kMissingGroup);
    std::vector<SStatus> items;
    if (const EError error = FindItems(status, request, name, items); error != eErrorNone)
    {
        std::string unused;
        const bool isItem = request.GetArg(kIndexKey, unused);
        return NIpcMsgUtil::MakeErrorResponse(answers.emplace_back(reply), error,
                                              isItem ? NStatusText::kUnknownItem
                                                     : NStatusText::kUnknownGroup);
    }
    for (const SStatus& item : items)
        AddItem(answers.emplace_back(reply), item);
    if (items.empty())
        answers.push_back(reply);
    for (CIpcMessage& answer : answers)
        answer.SetFlag(eFlagMoreFollows, &answer != &answers.back());
}

CIpcMessage NStatusMessages::MakeRequest(const std::string& name, const int* index)
{
    CIpcMessage request;
    request.SetCode(kCode);
    request.SetSubCode("");
    request.AddArg(kNameKey, name);
    if (index != nullptr)
        request.AddArg(kIndexKey, *index);
    return request;
}

bool NStatusMessages::ReadItem(const CIpcMessage& answer, SStatus& item)
{
    int level = 0;
    if (!answer.GetArg(eIpcStatusIndex, item.mIndex) || !answer.GetArg(eIpcStatusLevel, level) ||
        !answer.GetArg(eIpcStatusGroup, item.mGroup) || !answer.GetArg(eIpcStatusValue, item.mValue) ||
        !answer.GetArg(eIpcStatusDescription, item.mDescription))
        return false;
    item.mStatus = static_cast<EStatusLevel>(level);
    return true;
}
