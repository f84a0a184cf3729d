// lanternctl cep serve SOCKET
#pragma once

#include "apps/lanternctl/ICommand.h"

#include <string>

/// A simulated companion module on a socket, until Ctrl-C.
class CCepServeCommand : public ICommand
{
public:
    void Declare(CLI::App& arguments) override;
    EExitCode Run(CSession& session) override;

private:
    std::string mSocket;
    std::string mFault = "none";
    unsigned mEvery = 1;
    unsigned mDelayMs = 0;
};
