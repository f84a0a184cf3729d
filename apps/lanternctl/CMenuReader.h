// The menus of a projector, page by page.
#pragma once

#include "apps/lanternctl/CControlInfo.h"

#include <json/value.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

class CTcpLink;

/// Reads menus with the names and values that people see. An entry of a menu does not tell its unit, so the
/// projector is asked for the list of its controls once, at the first need. The link must outlive it.
class CMenuReader
{
public:
    static constexpr char kFavorites[] = "MMM+FAVR";

    /// "imag" and "mmm+imag" both mean "MMM+IMAG"; nothing means the main menu.
    static std::string MenuCode(const std::string& typed);
    /// Whether this can only mean a menu, and never the beginning of a control's code.
    static bool NamesMenu(const std::string& typed);

    explicit CMenuReader(CTcpLink& link)
        : mLink(link)
    {
    }

    /// One menu as the projector answers it, with its "items"; nothing when it has none.
    /// @throws CCommandFailure (refused) when there is no such menu
    std::optional<Json::Value> Read(const std::string& code);
    /// The entries as controls. One that is not available has no code.
    std::vector<CControlInfo> GetItems(const Json::Value& page);

    /// What stands beside an entry: its value in the unit of people; nothing for an action or a menu.
    static std::string FormatValue(const CControlInfo& item);

private:
    CTcpLink& mLink;
    std::map<std::string, CControlInfo> mControls; // by code
    bool mIsListed = false;
};
