// What became of a look at a serial line.
#pragma once

enum class ERxResult
{
    Busy = 0,        ///< a message is still on its way, or none
    Complete = 1,    ///< a message was handled
    SyntaxError = 2, ///< a message was dropped
    Closed = 3,      ///< the port is closed or has failed; final
};
