// The daemon's menus: whatever their files hold, it starts.
#pragma once

class CEventDispatcher;
class CJsonMenu;
class ILog;

namespace NMenus
{
/// Loads menus and favourites. A menu file that can not be used leaves no menus, with an error in the log. A
/// damaged favourites file is set aside with a warning and leaves none. What a menu lists that does not
/// exist is a warning each; a sub-menu that does not exist is taken out, because it would lead nowhere.
/// @param dispatcher  has all controls by now
/// @throws CException when a damaged favourites file can not be set aside: the next change would destroy it
void Load(CJsonMenu& menu, const CEventDispatcher& dispatcher, ILog& log);
} // namespace NMenus
