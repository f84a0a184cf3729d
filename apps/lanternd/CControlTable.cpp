// One maker for each family of controls; what all of them share is read before and after.
#include "apps/lanternd/CControlTable.h"

#include "software/bp/hwlogic/NDateTime.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"
#include "software/bp/serial/NAsciiCodeUtils.h"
#include "software/utility/CException.h"
#include "software/utility/CJsonMembers.h"
#include "software/utility/NJsonFile.h"

#include <json/value.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <set>
#include <utility>

namespace
{
constexpr char kSource[] = "apps/lanternd/CControlTable";
constexpr int kFileVersion = 1;
constexpr int kMostDecimals = 7;
constexpr int kLongestText = 4000; // bytes; a value has to fit into one message
constexpr int kLowest = std::numeric_limits<int>::min();
constexpr int kHighest = std::numeric_limits<int>::max();

// What a maker needs to make a control.
struct SMaking
{
    CJsonMembers& mMembers;
    CEventDispatcher& mDispatcher;
    IControlProxy& mProxy;
    const std::string& mCode;
    EDisplayType mType;
    int mNameId;
    int mHelpId;
};

using Control = std::unique_ptr<CProjCon>;

EAccessLevel TakeAccess(CJsonMembers& members)
{
    constexpr EAccessLevel kGroups[] = {eAccessUser, eAccessOperator, eAccessProtected};
    const int group = members.TakeInt("access", kLowest, kHighest, eAccessOperator);
    if (std::find(std::begin(kGroups), std::end(kGroups), group) == std::end(kGroups))
        members.Refuse("access", "must be 1, 2 or 6");
    return static_cast<EAccessLevel>(group);
}

Control MakeBoolean(const SMaking& making)
{
    CJsonMembers& members = making.mMembers;
    const bool persistent = members.TakeBool("persistent");
    const bool readOnly = members.TakeBool("readOnly", false);
    return std::make_unique<CProjCon>(making.mType, making.mDispatcher, making.mProxy, making.mCode,
                                      persistent, members.TakeBool("default"), TakeAccess(members),
                                      making.mNameId, making.mHelpId, readOnly);
}

Control MakeInteger(const SMaking& making)
{
    CJsonMembers& members = making.mMembers;
    const bool persistent = members.TakeBool("persistent");
    const bool readOnly = members.TakeBool("readOnly", false);
    const int minimum = members.TakeInt("min", kLowest, kHighest);
    const int maximum = members.TakeInt("max", minimum, kHighest);
    const int initial = members.TakeInt("default", minimum, maximum);
    const auto decimals = static_cast<unsigned char>(members.TakeInt("decimals", 0, kMostDecimals, 0));
    auto control = std::make_unique<CProjCon>(making.mType, making.mDispatcher, making.mProxy, making.mCode,
                                              persistent, minimum, maximum, initial, TakeAccess(members),
                                              making.mNameId, making.mHelpId, decimals, readOnly);
    control->SetUnit(members.TakeText("unit", ""));
    return control;
}

Control MakeText(const SMaking& making)
{
    constexpr EDisplayType kFixedLength[] = {eDisplayDate, eDisplayTime, eDisplayIpAddress};
    const bool isFixed =
        std::find(std::begin(kFixedLength), std::end(kFixedLength), making.mType) != std::end(kFixedLength);
    CJsonMembers& members = making.mMembers;
    const bool persistent = members.TakeBool("persistent");
    const bool readOnly = members.TakeBool("readOnly", false);
    const int minimum = isFixed ? 0 : members.TakeInt("min", 0, kLongestText);
    const int maximum = isFixed ? 0 : members.TakeInt("max", minimum, kLongestText);
    const std::string initial = members.TakeText("default");
    if (!NDateTime::HasFormOf(making.mType, initial)) // the control looks at its length alone
        members.Refuse("default", making.mType == eDisplayDate ? "must be a date such as 2026-01-31"
                                                               : "must be a time such as 23:59:59");
    return std::make_unique<CProjCon>(making.mType, making.mDispatcher, making.mProxy, making.mCode,
                                      persistent, minimum, maximum, initial, TakeAccess(members),
                                      making.mNameId, making.mHelpId, readOnly);
}

SListEntry TakeEntry(const Json::Value& object, const std::string& place)
{
    CJsonMembers members(object, place);
    SListEntry entry;
    entry.mValue = members.TakeInt("value", 0, kHighest);
    entry.mTextId = members.TakeInt("text", 1, kHighest);
    entry.mHintId = members.TakeInt("hint", 0, kHighest, 0);
    entry.mVisible = members.TakeBool("visible", true);
    entry.mEnabled = members.TakeBool("enabled", true);
    entry.mIcon = members.TakeText("icon", "");
    members.Finish();
    return entry;
}

std::vector<SListEntry> TakeEntries(CJsonMembers& members)
{
    std::vector<SListEntry> entries;
    std::set<int> values;
    for (const Json::Value& object : members.TakeArray("list"))
    {
        entries.push_back(
            TakeEntry(object, members.GetPlace() + ": list entry " + std::to_string(entries.size())));
        if (!values.insert(entries.back().mValue).second)
            members.Refuse("list", "has the value " + std::to_string(entries.back().mValue) + " twice");
    }
    return entries;
}

Control MakeList(const SMaking& making)
{
    CJsonMembers& members = making.mMembers;
    const bool persistent = members.TakeBool("persistent");
    const bool readOnly = members.TakeBool("readOnly", false);
    const int initial = members.TakeInt("default", 0, kHighest);
    const std::vector<SListEntry> entries = TakeEntries(members);
    if (std::none_of(entries.begin(), entries.end(),
                     [=](const SListEntry& entry) { return entry.mValue == initial && entry.mEnabled; }))
        members.Refuse("default", "must be the value of an enabled list entry");
    auto control =
        std::make_unique<CProjCon>(making.mType, making.mDispatcher, making.mProxy, making.mCode, persistent,
                                   initial, TakeAccess(members), making.mNameId, making.mHelpId, readOnly);
    control->AddList(entries);
    return control;
}

Control MakeAction(const SMaking& making)
{
    CJsonMembers& members = making.mMembers;
    const int continueId = members.TakeInt("continue", 0, kHighest, 0);
    return std::make_unique<CProjCon>(making.mType, making.mDispatcher, making.mProxy, making.mCode, false,
                                      TakeAccess(members), making.mNameId, making.mHelpId, continueId, false);
}

Control MakeEntry(const SMaking& making)
{
    return std::make_unique<CProjCon>(making.mType, making.mDispatcher, making.mProxy, making.mCode,
                                      making.mNameId, making.mHelpId, std::string());
}

struct SMaker
{
    EControlFamily mFamily;
    Control (*mMake)(const SMaking& making);
};

constexpr SMaker kMakers[] = {
    {EControlFamily::Boolean, MakeBoolean}, {EControlFamily::Integer, MakeInteger},
    {EControlFamily::Text, MakeText},       {EControlFamily::List, MakeList},
    {EControlFamily::Action, MakeAction},   {EControlFamily::Menu, MakeEntry},
    {EControlFamily::Custom, MakeEntry},
};

std::string TakeCode(CJsonMembers& members)
{
    std::string code = members.TakeText("code");
    const std::string given = code;
    if (!NAsciiCodeUtils::ValidateCode(code) || code != given)
        members.Refuse("code", "must be a control code in upper case, such as \"LUM\" or \"KST+TLPX\"");
    std::string mainCode;
    std::string subCode;
    NAsciiCodeUtils::SplitCode(code, mainCode, subCode);
    if (!NAsciiCodeUtils::FitsMessage(subCode))
        members.Refuse("code", "must have four characters behind the +, or it fits into no message");
    return code;
}

// The control's own refusals do not say which file they are about.
Control MakeControl(const SMaker& maker, const SMaking& making)
{
    try
    {
        return maker.mMake(making);
    }
    catch (const CException& error)
    {
        const std::string& place = making.mMembers.GetPlace();
        if (error.GetMessage().compare(0, place.size(), place) == 0)
            throw; // a refusal of a member, which does
        throw CException(__func__, kSource, __LINE__, false, "%s: %s", place.c_str(),
                         error.GetMessage().c_str());
    }
}

Control Make(const Json::Value& object, const std::string& path, std::size_t number,
             CEventDispatcher& dispatcher, const CControlTable::ProxyOf& proxyOf)
{
    CJsonMembers nameless(object, path + ": control number " + std::to_string(number));
    const std::string code = TakeCode(nameless);
    CJsonMembers members(object, path + ": control " + code);
    TakeCode(members); // so that it counts as taken here too

    const auto type = static_cast<EDisplayType>(members.TakeInt("type", eDisplayBoolean, kHighest));
    const auto maker = std::find_if(std::begin(kMakers), std::end(kMakers),
                                    [=](const SMaker& row) { return row.mFamily == FamilyOf(type); });
    if (maker == std::end(kMakers))
        members.Refuse("type", "is not a type of controls");

    const int nameId = members.TakeInt("name", 1, kHighest);
    const int helpId = members.TakeInt("help", 0, kHighest, 0);
    Control control = MakeControl(*maker, {members, dispatcher, proxyOf(code), code, type, nameId, helpId});
    control->SetConfirmText(members.TakeInt("confirm", 0, kHighest, 0));
    control->SetWaitText(members.TakeInt("wait", 0, kHighest, 0));
    control->SetIconPath(members.TakeText("icon", ""));
    members.Finish();
    return control;
}
} // namespace

CControlTable::CControlTable(CEventDispatcher& dispatcher, ProxyOf proxyOf)
    : mDispatcher(dispatcher)
    , mProxyOf(std::move(proxyOf))
{
}

CControlTable::~CControlTable()
{
    for (const std::unique_ptr<CProjCon>& control : mControls)
        mDispatcher.RemoveControl(control->GetCode());
}

void CControlTable::Load(const std::string& path)
{
    const Json::Value root = NJsonFile::ReadObject(path);
    CJsonMembers members(root, path);
    members.TakeInt("version", kFileVersion, kFileVersion);
    std::size_t number = 0;
    for (const Json::Value& object : members.TakeArray("controls"))
    {
        ++number;
        mControls.push_back(Make(object, path, number, mDispatcher, mProxyOf));
    }
    members.Finish();
}

void CControlTable::UpdateHardware()
{
    for (const std::unique_ptr<CProjCon>& control : mControls)
        if (control->GetFamily().mValueForm != EValueForm::Nothing)
            control->UpdateHardware();
}
