// Strict loading, and what becomes of each refusal.
#include "apps/lanternd/NMenus.h"

#include "software/bp/c4j/CJsonMenu.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/NAsciiCodeUtils.h"
#include "software/include/ILog.h"
#include "software/utility/CAtomicFile.h"
#include "software/utility/CException.h"
#include "software/utility/NJsonFile.h"
#include "software/utility/NReason.h"

#include <string>

namespace
{
constexpr char kSource[] = "apps/lanternd/NMenus";
constexpr char kMenuPrefix[] = "MMM";

void LoadFavorites(CJsonMenu& menu, ILog& log)
{
    try
    {
        menu.FavLoad();
    }
    catch (const CException& error)
    {
        const std::string& file = menu.GetFavoritesFile();
        const std::string reason = NReason::Of(error);
        const std::string aside = CAtomicFile::SetAside(file);
        if (aside.empty())
            throw CException(__func__, kSource, __LINE__, false,
                             "Unable to set aside %s, which is damaged (%s)", file.c_str(), reason.c_str());
        log.LogWarning("%s; kept as %s, there are no favourites", reason.c_str(), aside.c_str());
    }
}

bool HasListing(const CJsonMenu& menu, const std::string& id)
{
    Json::Value listing;
    return menu.GetMenuListing(id, listing);
}

void CheckItem(CJsonMenu& menu, const std::string& id, const Json::Value& item,
               const CEventDispatcher& dispatcher, ILog& log)
{
    std::string code = item.isString() ? item.asString() : std::string();
    if (!NAsciiCodeUtils::ValidateCode(code))
    {
        log.LogWarning("Menu %s: %s is no control code", id.c_str(), NJsonFile::PrintShort(item).c_str());
        return;
    }
    std::string prefix;
    std::string subMenu;
    NAsciiCodeUtils::SplitCode(code, prefix, subMenu);
    const bool isMissing = dispatcher.GetControl(code) == nullptr;
    if (prefix == kMenuPrefix && (isMissing || !HasListing(menu, subMenu)))
    {
        if (menu.RemoveMenuItem(id, code)) // not when it occurred before, and went with that
            log.LogWarning("Menu %s: %s leads nowhere and is left out", id.c_str(), code.c_str());
    }
    else if (isMissing)
        log.LogWarning("Menu %s: there is no control %s; it is shown as not available", id.c_str(),
                       code.c_str());
}

void CheckMenu(CJsonMenu& menu, const std::string& id, const CEventDispatcher& dispatcher, ILog& log)
{
    if (dispatcher.GetControl(NAsciiCodeUtils::JoinCode(kMenuPrefix, id)) == nullptr)
        log.LogWarning("Menu %s: there is no control %s+%s; nobody can open it", id.c_str(), kMenuPrefix,
                       id.c_str());
    Json::Value listing;
    if (!menu.GetMenuListing(id, listing) || !listing.isObject() || !listing["items"].isArray())
    {
        log.LogWarning("Menu %s: it has no \"items\" and can not be shown", id.c_str());
        return;
    }
    for (const Json::Value& item : listing["items"]) // of a copy, so that items may go
        CheckItem(menu, id, item, dispatcher, log);
}
} // namespace

void NMenus::Load(CJsonMenu& menu, const CEventDispatcher& dispatcher, ILog& log)
{
    try
    {
        menu.LoadMenuFile(CJsonMenu::kDefaultMenuFile);
    }
    catch (const CException& error)
    {
        log.LogError("%s; there are no menus", NReason::Of(error).c_str());
    }
    LoadFavorites(menu, log);
    for (const std::string& id : menu.GetMenuIds())
        CheckMenu(menu, id, dispatcher, log);
}
