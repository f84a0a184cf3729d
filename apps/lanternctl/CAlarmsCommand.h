// lanternctl alarms
#pragma once

#include "apps/lanternctl/ICommand.h"

/// What is not as it should be.
class CAlarmsCommand : public ICommand
{
public:
    void Declare(CLI::App& arguments) override;
    EExitCode Run(CSession& session) override;
};
