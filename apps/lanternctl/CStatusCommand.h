// lanternctl status [GROUP]
#pragma once

#include "apps/lanternctl/ICommand.h"

#include <string>

/// How the projector is doing: every item, or those of one group, the worst first.
class CStatusCommand : public ICommand
{
public:
    void Declare(CLI::App& arguments) override;
    EExitCode Run(CSession& session) override;

private:
    std::string mGroup; // as typed; empty: all
};
