// lanternctl info CODE
#pragma once

#include "apps/lanternctl/ICommand.h"

#include <string>

class CControlInfo;

/// Everything about one control, readable.
class CInfoCommand : public ICommand
{
public:
    void Declare(CLI::App& arguments) override;
    EExitCode Run(CSession& session) override;

private:
    static void Print(CSession& session, const CControlInfo& control);

    std::string mCode;
};
