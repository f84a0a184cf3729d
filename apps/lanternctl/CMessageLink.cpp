// One row a fact that may be asked; notifications are completed by what they leave out.
#include "apps/lanternctl/CMessageLink.h"

#include "apps/lanternctl/CCommandFailure.h"
#include "software/bp/serial/EDisplayType.h"
#include "software/bp/serial/NErrorText.h"
#include "software/bp/serial/NIpcMsgUtil.h"
#include "software/bp/serial/NStatusMessages.h"
#include "software/bp/status/CStatusDb.h"
#include "software/utility/CIpcMessage.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace
{
constexpr unsigned char kValueModifier = 0;
constexpr unsigned char kTypeModifier = 'T';
constexpr unsigned char kListModifier = 'L';
constexpr char kListSize[] = "listSize"; // stands in a change until the list itself has been asked for

Json::Value MakeMembers(const std::string& code)
{
    Json::Value members(Json::objectValue);
    members["code"] = code;
    return members;
}

std::optional<int> NumberOf(const CIpcMessage& message, unsigned short key)
{
    int number = 0;
    if (!message.IsNumberArg(key) || !message.GetArg(key, number))
        return std::nullopt;
    return number;
}

void ReadNumber(const CIpcMessage& message, unsigned short key, Json::Value& members, const char* name)
{
    if (const auto number = NumberOf(message, key))
        members[name] = *number;
}

void ReadFlag(const CIpcMessage& message, unsigned short key, Json::Value& members, const char* name)
{
    if (const auto number = NumberOf(message, key))
        members[name] = *number != 0;
}

void ReadNumberOrText(const CIpcMessage& message, Json::Value& members, const char* name)
{
    std::string text;
    if (message.IsTextArg(0) && message.GetArg(0, text))
        members[name] = text;
    else
        ReadNumber(message, 0, members, name);
}

// A list control adds the text of the chosen entry.
void ReadValue(const CIpcMessage& message, Json::Value& members)
{
    ReadNumberOrText(message, members, "value");
    std::string text;
    if (message.IsTextArg(1) && message.GetArg(1, text) && !text.empty())
        members["text"] = text;
}

void ReadDefault(const CIpcMessage& message, Json::Value& members)
{
    ReadNumberOrText(message, members, "default");
}

void ReadDisabled(const CIpcMessage& message, Json::Value& members)
{
    if (const auto disabled = NumberOf(message, 0))
        members["enabled"] = *disabled == 0;
}

void ReadAccess(const CIpcMessage& message, Json::Value& members)
{
    ReadNumber(message, 0, members, "access");
}

void ReadRange(const CIpcMessage& message, Json::Value& members)
{
    ReadNumber(message, 0, members, "min");
    ReadNumber(message, 1, members, "max");
}

void ReadType(const CIpcMessage& message, Json::Value& members)
{
    ReadNumber(message, 0, members, "type");
}

struct SFact
{
    unsigned char mModifier;
    void (*mRead)(const CIpcMessage& message, Json::Value& members);
};
constexpr SFact kFacts[] = {
    {kValueModifier, ReadValue}, {kTypeModifier, ReadType}, {'D', ReadDefault},
    {'E', ReadDisabled},         {'G', ReadAccess},         {'M', ReadRange},
};

Json::Value ReadEntry(const CIpcMessage& message)
{
    Json::Value entry(Json::objectValue);
    ReadFlag(message, 0, entry, "visible");
    ReadFlag(message, 1, entry, "enabled");
    ReadNumber(message, 2, entry, "idx");
    std::string text;
    message.GetArg(3, text);
    entry["text"] = text;
    return entry;
}
} // namespace

Json::Value CMessageLink::Get(const std::string& code)
{
    std::list<CIpcMessage> replies;
    if (const Refusal refusal = Ask(code, kValueModifier, replies))
        FailRefused(code, *refusal);
    Json::Value members = MakeMembers(code);
    ReadValue(replies.front(), members);
    return members;
}

Json::Value CMessageLink::Set(const std::string& code, const Json::Value& value)
{
    CIpcMessage command;
    if (!NIpcMsgUtil::SetFullCode(command, code))
        FailRefused(code, {eErrorControlNotFound, ""});
    if (value.isString())
        command.AddArg(0, value.asString());
    else
        command.AddArg(0, value.asInt());
    CIpcMessage reply;
    if (const Refusal refusal = Command(command, reply))
        FailRefused(code, *refusal);
    Json::Value members = MakeMembers(code);
    ReadValue(reply, members);
    return members;
}

std::optional<CControlInfo> CMessageLink::Describe(const std::string& code, ENeed need)
{
    Json::Value members = MakeMembers(code);
    AddFact(members, code, kTypeModifier);
    if (!members.isMember("type"))
        return std::nullopt;
    const bool isList = FamilyOf(CControlInfo(members).GetType()) == EControlFamily::List;
    if (isList)
        mLists.insert(code);
    if (isList && need != ENeed::Show)
        AddChoices(members, code);
    for (const SFact& fact : kFacts)
    {
        if (need == ENeed::All && fact.mModifier != kTypeModifier)
            AddFact(members, code, fact.mModifier);
    }
    return CControlInfo(std::move(members), CControlInfo::ENumbers::Bare);
}

std::vector<std::string> CMessageLink::GetStatusGroups()
{
    std::vector<std::string> names;
    for (const Json::Value& group : AskStatus("status", CStatusDb::kSummaryName))
        names.push_back(group["group"].asString());
    return names;
}

std::vector<Json::Value> CMessageLink::GetStatusItems(const std::string& group)
{
    return AskStatus(group, group);
}

std::vector<Json::Value> CMessageLink::GetAlarms()
{
    return AskStatus("alarms", CStatusDb::kAlarmsName);
}

void CMessageLink::WatchAlarms()
{
    throw CCommandFailure(EExitCode::WrongUsage, "alarms can be watched over TCP (--host, --port) only");
}

std::vector<Json::Value> CMessageLink::AskStatus(const std::string& subject, const std::string& name)
{
    CIpcMessage request = NStatusMessages::MakeRequest(name);
    std::list<CIpcMessage> replies;
    if (const Refusal refusal = Request(request, replies))
        FailRefused(subject, *refusal);
    std::vector<Json::Value> items;
    for (const CIpcMessage& reply : replies)
    {
        SStatus status;
        if (!NStatusMessages::ReadItem(reply, status))
            continue;
        Json::Value& item = items.emplace_back(Json::objectValue);
        item["idx"] = status.mIndex;
        item["group"] = status.mGroup;
        item["status"] = static_cast<int>(status.mStatus);
        item["value"] = status.mValue;
        item["desc"] = status.mDescription;
    }
    return items;
}

IProjectorLink::EWait CMessageLink::WaitForChange(Json::Value& change,
                                                  std::optional<std::chrono::milliseconds> timeout,
                                                  int interrupt)
{
    const NWait::Deadline deadline = NWait::After(timeout);
    while (mChanges.empty())
    {
        const EWait wait = Receive(deadline, interrupt);
        if (wait != EWait::Change)
            return wait;
    }
    change = std::move(mChanges.front());
    mChanges.pop_front();
    Complete(change);
    return EWait::Change;
}

void CMessageLink::TakeNotification(const CIpcMessage& notification)
{
    Json::Value change = MakeMembers(NIpcMsgUtil::GetFullCode(notification));
    ReadNumberOrText(notification, change, "value");
    ReadFlag(notification, eIpcArgEnabled, change, "enabled");
    ReadNumber(notification, eIpcArgMinimum, change, "min");
    ReadNumber(notification, eIpcArgMaximum, change, "max");
    ReadNumber(notification, eIpcArgListSize, change, kListSize);
    mChanges.push_back(std::move(change));
}

CMessageLink::Refusal CMessageLink::Ask(const std::string& code, unsigned char modifier,
                                        std::list<CIpcMessage>& replies)
{
    CIpcMessage request;
    if (!NIpcMsgUtil::SetFullCode(request, code))
        return SRefusal{eErrorControlNotFound, ""};
    if (modifier != kValueModifier)
        request.AddArg(0, 0, eParmNumber, modifier);
    return Request(request, replies);
}

void CMessageLink::AddFact(Json::Value& members, const std::string& code, unsigned char modifier)
{
    const auto fact = std::find_if(std::begin(kFacts), std::end(kFacts),
                                   [=](const SFact& f) { return f.mModifier == modifier; });
    std::list<CIpcMessage> replies;
    if (!Ask(code, modifier, replies))
        fact->mRead(replies.front(), members);
}

void CMessageLink::FailRefused(const std::string& subject, const SRefusal& refusal)
{
    const std::string text =
        refusal.mText.empty() ? NErrorText::GetErrorString(refusal.mError) : refusal.mText;
    throw CCommandFailure(EExitCode::Refused, subject + ": " + text + " (" +
                                                  std::to_string(static_cast<int>(refusal.mError)) + ")");
}

void CMessageLink::AddChoices(Json::Value& members, const std::string& code)
{
    std::list<CIpcMessage> replies;
    if (Ask(code, kListModifier, replies))
        return;
    replies.pop_back(); // tells that the list is at its end
    Json::Value& list = members["list"] = Json::Value(Json::arrayValue);
    for (const CIpcMessage& reply : replies)
        list.append(ReadEntry(reply));
}

// A notification has the number of a choice alone, and of a new list its size. Texts that were asked for at
// the start could be those of another list by now, so they are asked for again.
void CMessageLink::Complete(Json::Value& change)
{
    const std::string code = change["code"].asString();
    const bool isNewList = change.isMember(kListSize);
    change.removeMember(kListSize);
    if (mLists.count(code) == 0)
        return;
    if (change.isMember("value"))
    {
        Json::Value present(Json::objectValue);
        AddFact(present, code, kValueModifier);
        if (present["value"] == change["value"] && present.isMember("text"))
            change["text"] = present["text"];
    }
    if (isNewList)
        AddChoices(change, code);
}
