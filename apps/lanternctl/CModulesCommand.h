// lanternctl modules
#pragma once

#include "apps/lanternctl/ICommand.h"

/// The groups of methods that the projector offers, with their versions.
class CModulesCommand : public ICommand
{
public:
    void Declare(CLI::App& arguments) override;
    EExitCode Run(CSession& session) override;
};
