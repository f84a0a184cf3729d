// What the serial lines may do.
#pragma once

/// Log-ins and relaying go on whatever is chosen.
enum ERemoteAccess : int
{
    eRemoteAccessFull = 0,
    eRemoteAccessReadOnly = 1, ///< requests and registrations; commands are refused
    eRemoteAccessOff = 2,      ///< everything is refused
};
