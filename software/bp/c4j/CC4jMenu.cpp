// Menus come from the menu file, what they show from the controls of this moment.
#include "software/bp/c4j/CC4jMenu.h"

#include "software/bp/c4j/CJsonMenu.h"
#include "software/bp/c4j/NJsonMember.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"
#include "software/bp/serial/NAsciiCodeUtils.h"
#include "software/include/ILog.h"
#include "software/utility/CException.h"
#include "software/utility/NReason.h"

#include <utility>

namespace
{
constexpr char kModule[] = "menu";
constexpr unsigned kModuleVersion = 1;

constexpr char kMenuPrefix[] = "MMM";
constexpr char kMainId[] = "MAIN";
constexpr char kFavoritesId[] = "FAVR";

constexpr char kItems[] = "items";
constexpr char kAddListener[] = "addListener";
constexpr Json::ArrayIndex kAddListenerIndex = 1;

constexpr char kBadRequest[] = "Expected MMM+ABCD request";
constexpr char kNotFound[] = "Menu ID not found";
constexpr char kBadFile[] = "Bad menu file - items[] not found";
constexpr char kEmptyMenu[] = "Empty menu entry - items[] missing/invalid";

// What stands in the place of a control that can not be shown.
constexpr int kPlaceholderType = 302; // no type of a control: nobody takes it for one
constexpr int kNotAvailableText = 9;  // text id
constexpr char kIconFolder[] = "menu/";
constexpr char kReservedIcon[] = "reserved.png";
constexpr char kUnknownIcon[] = "unknown.png";

/// The ID of the menu that is asked for; empty when it is none.
std::string GetMenuId(const std::string& code)
{
    if (code.empty())
        return kMainId;
    std::string prefix;
    std::string id;
    NAsciiCodeUtils::SplitCode(code, prefix, id);
    return prefix == kMenuPrefix && id != NAsciiCodeUtils::kNoSubCode ? id : std::string();
}

std::string IconName(const std::string& iconPath)
{
    const std::string name = iconPath.substr(iconPath.rfind('/') + 1); // npos + 1 is 0
    return name.empty() ? kReservedIcon : name;
}

Json::Value MakePlaceholder(const std::string& label, const std::string& iconName)
{
    Json::Value placeholder(Json::objectValue);
    placeholder[NJsonMember::kType] = kPlaceholderType;
    placeholder[NJsonMember::kLabel] = label;
    placeholder[NJsonMember::kIcon] = kIconFolder + iconName;
    return placeholder;
}
} // namespace

CC4jMenu::CC4jMenu(CJsonRpcServer& server, CJsonMenu& menu)
    : CC4jBaseControlHandler(server, kModule, kModuleVersion)
    , mMenu(menu)
{
    static constexpr SMethod<CC4jMenu> kMethods[] = {
        {"menu:version", &CC4jMenu::Version},
        {"menu:get", &CC4jMenu::Get},
        {"getMenu", &CC4jMenu::Get},
        {"menu:addFavorite", &CC4jMenu::AddFavorite},
        {"menu:setFavorites", &CC4jMenu::SetFavorites},
        {"menu:deleteFavorite", &CC4jMenu::DeleteFavorite},
        {"menu:clearFavorites", &CC4jMenu::ClearFavorites},
    };
    AddMethods(*this, kMethods);
}

// --- Menus

bool CC4jMenu::Get(const Json::Value& request, Json::Value& response)
{
    InitResponseObj(request, response);
    if (response.isNull())
        return true;
    const Json::Value& params = GetParams(request);
    const std::string asked = GetCodeFromParams(params);
    const bool isListening = params.isArray() ? GetBoolFromArray2(params, kAddListenerIndex, false)
                                              : GetBoolFromObj(params, kAddListener, false);
    mLog.LogDebug("Recv'd 'menu:get' from %s: %s %s", GetClientIdString(request).c_str(), asked.c_str(),
                  isListening ? "(reg)" : "");
    const CProjCon* control = nullptr;
    Json::Value items;
    if (!FindMenu(GetMenuId(asked), request, response, control, items))
        return true;

    Json::Value result(Json::objectValue);
    AddAttrToResult(*control, result);
    AddPropToResult(*control, result, true);
    result[NJsonMember::kCode] = control->GetCode();
    Json::Value& shown = result[kItems] = Json::Value(Json::arrayValue);
    std::string code;
    for (const Json::Value& item : std::as_const(items))
        if (ParseCode(item, code))
            shown.append(MakeItem(code, request));
    if (shown.empty())
    {
        MakeErrorResponse(request, response, eErrorBadFile, kEmptyMenu);
        return true;
    }
    if (isListening && !Register(items, request, response))
        return true;
    SetResult(response, std::move(result));
    mLog.LogDebug("Completed 'menu:get' from %s", GetClientIdString(request).c_str());
    return true;
}

bool CC4jMenu::FindMenu(const std::string& id, const Json::Value& request, Json::Value& response,
                        const CProjCon*& control, Json::Value& items) const
{
    if (id.empty())
    {
        MakeErrorResponse(request, response, eErrorInvalidParameter, kBadRequest);
        return false;
    }
    control = mDispatcher.GetControl(NAsciiCodeUtils::JoinCode(kMenuPrefix, id));
    Json::Value listing;
    if (!mMenu.GetMenuListing(id, listing) || control == nullptr)
    {
        MakeErrorResponse(request, response, eErrorControlNotFound, kNotFound);
        return false;
    }
    items = id == kFavoritesId ? mMenu.GetFavMenuListing() : GetArrayFromObj(listing, kItems);
    if (!items.isArray())
    {
        MakeErrorResponse(request, response, eErrorBadFile, kBadFile);
        return false;
    }
    return true;
}

Json::Value CC4jMenu::MakeItem(const std::string& code, const Json::Value& request) const
{
    const CProjCon* const control = mDispatcher.GetControl(code);
    const std::string notAvailable = mDispatcher.GetText(kNotAvailableText);
    if (control == nullptr) // its code is all that is known of it
        return MakePlaceholder(notAvailable + " (" + code + ")", kUnknownIcon);
    if (control->IsReserved())
        return MakePlaceholder(notAvailable, IconName(control->GetIconPath()));
    Json::Value item(Json::objectValue);
    AddAttrToResult(*control, item);
    AddPropToResult(*control, item, true);
    if (IsAllowed(*control, request))
        AddValueToResult(*control, item);
    item[NJsonMember::kCode] = code;
    return item;
}

bool CC4jMenu::Register(const Json::Value& items, const Json::Value& request, Json::Value& response)
{
    std::string descriptor;
    if (!FindSubscriber(request, response, descriptor))
        return false;
    for (const Json::Value& item : items)
    {
        std::string code;
        // What is no code must not subscribe to a name of another module.
        if (!ParseCode(item, code) || !NAsciiCodeUtils::ValidateCode(code))
            continue;
        const CProjCon* const control = mDispatcher.GetControl(code);
        if (control != nullptr && !IsAllowed(*control, request))
            continue;
        if (!mDispatcher.GetNotificationManager().NotifyRegister(code, descriptor))
        {
            MakeUnknownClientResponse(request, response);
            return false;
        }
    }
    return true;
}

// --- Favourites

bool CC4jMenu::AddFavorite(const Json::Value& request, Json::Value& response)
{
    LogReceived("menu:addFavorite", request);
    const std::string code = GetCodeFromParams(GetParams(request));
    if (code.empty())
    {
        MakeErrorResponse(request, response, eErrorTooFewParameters);
        return true;
    }
    Json::Value wanted = mMenu.GetFavMenuListing();
    wanted.append(code);
    Change(request, response, wanted, [&] { mMenu.FavAppend(code); });
    return true;
}

bool CC4jMenu::SetFavorites(const Json::Value& request, Json::Value& response)
{
    LogReceived("menu:setFavorites", request);
    const Json::Value& wanted = GetArrayFromObj(GetParams(request), NJsonMember::kCode.c_str());
    Change(request, response, wanted, [&] { mMenu.FavSet(wanted); });
    return true;
}

bool CC4jMenu::DeleteFavorite(const Json::Value& request, Json::Value& response)
{
    LogReceived("menu:deleteFavorite", request);
    const std::string code = GetCodeFromParams(GetParams(request));
    if (code.empty())
    {
        MakeErrorResponse(request, response, eErrorTooFewParameters);
        return true;
    }
    Change(request, response, mMenu.GetFavMenuListing(), [&] { mMenu.FavDelete(code); });
    return true;
}

bool CC4jMenu::ClearFavorites(const Json::Value& request, Json::Value& response)
{
    LogReceived("menu:clearFavorites", request);
    Change(request, response, Json::Value(Json::arrayValue), [&] { mMenu.FavClear(); });
    return true;
}

void CC4jMenu::Change(const Json::Value& request, Json::Value& response, const Json::Value& wanted,
                      const std::function<void()>& change)
{
    InitResponseObj(request, response);
    try
    {
        change();
        SetEmptyResult(response);
    }
    catch (const CException& failure)
    {
        const EError refusal = CJsonMenu::CheckFavorites(wanted);
        const std::string reason = NReason::Of(failure);
        if (refusal == eErrorNone)
            mLog.LogError("Favourites are not changed for %s: %s", GetClientIdString(request).c_str(),
                          reason.c_str());
        MakeErrorResponse(request, response, refusal == eErrorNone ? eErrorBadFile : refusal, reason);
    }
}

void CC4jMenu::LogReceived(const char* method, const Json::Value& request) const
{
    mLog.LogDebug("Recv'd '%s' from %s", method, GetClientIdString(request).c_str());
}
