// What the program tells the shell.
#pragma once

enum class EExitCode : int
{
    Done = 0,
    Refused = 1,      ///< the projector refused; its text and code are on standard error
    WrongUsage = 2,   ///< the command line, or standard output that takes nothing
    NoConnection = 3, ///< nobody there, connection lost, or no answer in time
};
