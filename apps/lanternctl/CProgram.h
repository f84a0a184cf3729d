// The command-line client as a whole.
#pragma once

#include <iosfwd>

/// Reads the command line, runs the one sub-command, and says how it ended. The streams are not owned.
class CProgram
{
public:
    /// @param isTerminal  whether a person reads `out`
    CProgram(std::ostream& out, std::ostream& error, bool isTerminal)
        : mOut(out)
        , mError(error)
        , mIsTerminal(isTerminal)
    {
    }

    /// @param arguments  `argc` texts, the program's name first
    /// @returns the exit code, one of `EExitCode`
    int Run(int argc, const char* const* arguments);

private:
    std::ostream& mOut;
    std::ostream& mError;
    const bool mIsTerminal;
};
