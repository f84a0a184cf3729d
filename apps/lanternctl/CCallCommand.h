// lanternctl call METHOD [PARAMS-JSON]
#pragma once

#include "apps/lanternctl/ICommand.h"

#include <string>

/// Any method of the projector, with its parameters as JSON.
class CCallCommand : public ICommand
{
public:
    void Declare(CLI::App& arguments) override;
    EExitCode Run(CSession& session) override;

private:
    std::string mMethod;
    std::string mParameters;
};
