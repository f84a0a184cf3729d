// lanternctl cep decode|encode|talk|serve
#pragma once

#include "apps/lanternctl/ICommand.h"

#include <map>
#include <memory>

/// What concerns the messages of the companion module. Each action is a command of its own.
class CCepCommand : public ICommand
{
public:
    void Declare(CLI::App& arguments) override;
    EExitCode Run(CSession& session) override;

private:
    CLI::App* mArguments = nullptr; // not owned
    std::map<const CLI::App*, std::unique_ptr<ICommand>> mActions;
};
