// One sub-command of the program.
#pragma once

#include "apps/lanternctl/EExitCode.h"

namespace CLI
{
class App;
}
class CSession;

/// Declared once, run at most once. Its name and one-line help stand in the table of `CProgram`.
class ICommand
{
public:
    virtual ~ICommand() = default;

    /// Adds its arguments and options, which are written into its members.
    virtual void Declare(CLI::App& arguments) = 0;

    /// @returns what the shell is told; failures may be thrown as `CCommandFailure` as well
    virtual EExitCode Run(CSession& session) = 0;
};
