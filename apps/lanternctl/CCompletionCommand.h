// lanternctl completion bash|zsh
#pragma once

#include "apps/lanternctl/ICommand.h"

#include <string>

/// Prints a shell's completion script. The names of sub-commands and options in it come from the program's
/// own declarations, so that neither can be forgotten.
class CCompletionCommand : public ICommand
{
public:
    void Declare(CLI::App& arguments) override;
    EExitCode Run(CSession& session) override;

private:
    std::string mShell;
    const CLI::App* mArguments = nullptr; // ours; its parent knows the whole program
};
