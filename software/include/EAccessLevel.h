// Who a caller is, and whom a control is for.
#pragma once

/// The access group of a control and the level of a caller; `NAccess` compares the two.
enum EAccessLevel : int
{
    eAccessNone = 0,      ///< no level was given
    eAccessUser = 1,      ///< a client that has not logged in
    eAccessOperator = 2,  ///< a logged-in operator; the default group of a control
    eAccessProtected = 6, ///< service staff; the group of protected controls
};
