// Typed, defensive access to the members of a control.
#include "apps/lanternctl/CControlInfo.h"

#include "apps/lanternctl/NDecimal.h"

#include <algorithm>
#include <utility>

CControlInfo::CControlInfo(Json::Value raw, ENumbers numbers)
    : mRaw(raw.isObject() ? std::move(raw) : Json::Value(Json::objectValue))
    , mNumbers(numbers)
{
}

CControlInfo CControlInfo::Unlisted(const std::string& code)
{
    Json::Value raw(Json::objectValue);
    raw["code"] = code;
    return CControlInfo(std::move(raw));
}

void CControlInfo::Merge(const Json::Value& members)
{
    if (!members.isObject())
        return;
    if (members.isMember("value"))
        mRaw.removeMember("text"); // it belonged to the former value
    for (const std::string& name : members.getMemberNames())
        mRaw[name] = members[name];
}

const Json::Value& CControlInfo::GetMember(const char* name) const
{
    return std::as_const(mRaw)[name];
}

bool CControlInfo::HasNumber(const char* name) const
{
    const Json::Value& member = GetMember(name);
    return member.isInt64();
}

EDisplayType CControlInfo::GetType() const
{
    return static_cast<EDisplayType>(GetNumber("type", 0));
}

unsigned CControlInfo::GetDecimals() const
{
    return static_cast<unsigned>(
        std::clamp(GetNumber("decimals", 0), 0, static_cast<int>(NDecimal::kMaxDecimals)));
}

int CControlInfo::GetAccessGroup() const
{
    return GetNumber("access", 0);
}

std::vector<SChoice> CControlInfo::GetChoices() const
{
    std::vector<SChoice> choices;
    const Json::Value& list = GetMember("list");
    if (!list.isArray())
        return choices;
    for (const Json::Value& raw : list)
    {
        const CControlInfo entry(raw); // the same checks serve the entry's members
        if (entry.GetMember("idx").isInt())
            choices.push_back({entry.GetNumber("idx", 0), entry.GetText("text"), entry.IsEnabled(),
                               entry.GetFlag("visible", true)});
    }
    return choices;
}

std::string CControlInfo::GetChoiceText(std::int64_t index) const
{
    if (GetMember("text").isString() && HasNumber("value") && GetMember("value").asInt64() == index)
        return GetText("text");
    const std::vector<SChoice> choices = GetChoices();
    const auto choice =
        std::find_if(choices.begin(), choices.end(), [&](const SChoice& c) { return c.mIndex == index; });
    return choice == choices.end() ? std::to_string(index) : choice->mText; // an invisible one may be unknown
}

std::string CControlInfo::GetText(const char* name) const
{
    const Json::Value& member = GetMember(name);
    return member.isString() ? member.asString() : std::string();
}

bool CControlInfo::GetFlag(const char* name, bool otherwise) const
{
    const Json::Value& member = GetMember(name);
    return member.isBool() ? member.asBool() : otherwise;
}

int CControlInfo::GetNumber(const char* name, int otherwise) const
{
    const Json::Value& member = GetMember(name);
    return member.isInt() ? member.asInt() : otherwise;
}
