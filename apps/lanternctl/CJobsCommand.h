// lanternctl jobs
#pragma once

#include "apps/lanternctl/ICommand.h"

/// The periodic work of the projector's controller, and how punctual it is.
class CJobsCommand : public ICommand
{
public:
    void Declare(CLI::App& arguments) override;
    EExitCode Run(CSession& session) override;
};
