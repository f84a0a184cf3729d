// The methods of the module "menu".
#pragma once

#include "software/bp/c4j/CC4jBaseControlHandler.h"

#include <functional>
#include <string>

class CJsonMenu;
class CProjCon;

/// Shows a menu with all its controls in one reply, and keeps the favourites. The menu "MMM+FAVR" is the
/// list of favourites. Params of the methods that take a code are {"code": code} or [code]; codes are taken
/// in any case.
class CC4jMenu : public CC4jBaseControlHandler
{
public:
    /// @param menu  not owned, must outlive this
    CC4jMenu(CJsonRpcServer& server, CJsonMenu& menu);

    /// [code, addListener = false], or {"code": code, "addListener": boolean}; without a code the main menu.
    /// The menu control's attributes, properties and "code", and "items": for each entry that is a text, in
    /// their order, the same of its control, and its value where the caller may read it. In the place of a
    /// control that is reserved or unknown stands {"type": 302, "label", "icon"}. With addListener the caller
    /// is registered on each of the codes, protected controls left out where it may not read them.
    /// Error 3 "Expected MMM+ABCD request"; 101 "Menu ID not found" when the control or the listing is
    /// missing; 113 "Bad menu file - items[] not found"; 113 "Empty menu entry - items[] missing/invalid"
    /// when no entry is left; 5 "Can't find client identifier". Without "id" it does nothing.
    bool Get(const Json::Value& request, Json::Value& response);

    // These are silent without "id"; a list that can not be saved is logged. Each failure leaves the list as
    // it was: error 5 without a code, else what `CJsonMenu` says, as 3 for what is no list of codes, 107 for
    // a list that is too long and 113 for one that can not be saved.

    bool AddFavorite(const Json::Value& request, Json::Value& response);
    bool SetFavorites(const Json::Value& request, Json::Value& response);   ///< {"code": array of codes}
    bool DeleteFavorite(const Json::Value& request, Json::Value& response); ///< every copy; none is no error
    bool ClearFavorites(const Json::Value& request, Json::Value& response);

private:
    bool FindMenu(const std::string& id, const Json::Value& request, Json::Value& response,
                  const CProjCon*& control, Json::Value& items) const;
    Json::Value MakeItem(const std::string& code, const Json::Value& request) const;
    bool Register(const Json::Value& items, const Json::Value& request, Json::Value& response);
    void LogReceived(const char* method, const Json::Value& request) const;
    void Change(const Json::Value& request, Json::Value& response, const Json::Value& wanted,
                const std::function<void()>& change);

    CJsonMenu& mMenu;
};
