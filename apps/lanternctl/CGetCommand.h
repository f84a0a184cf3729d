// lanternctl get CODE...
#pragma once

#include "apps/lanternctl/ICommand.h"

#include <string>
#include <vector>

/// One value alone, for scripts; several as a table. A code that is refused does not hide the others.
class CGetCommand : public ICommand
{
public:
    void Declare(CLI::App& arguments) override;
    EExitCode Run(CSession& session) override;

private:
    std::vector<std::string> mCodes;
};
