// lanternctl set CODE VALUE
#pragma once

#include "apps/lanternctl/ICommand.h"

#include <string>

namespace CLI
{
class Option;
}

/// Sets a control and prints what it has become, which the projector may have limited.
class CSetCommand : public ICommand
{
public:
    void Declare(CLI::App& arguments) override;
    EExitCode Run(CSession& session) override;

private:
    std::string mCode;
    std::string mText;
    CLI::Option* mValueOption = nullptr; // owned by the arguments; tells an empty text from none
};
