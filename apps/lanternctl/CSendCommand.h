// lanternctl --serial DEVICE send MESSAGE
#pragma once

#include "apps/lanternctl/ICommand.h"

#include <string>

class CSession;

/// One message of the serial protocol as it was typed, sound or not, and what the line says then.
class CSendCommand : public ICommand
{
public:
    void Declare(CLI::App& arguments) override;
    EExitCode Run(CSession& session) override;

private:
    void Check() const;
    bool AsksForAnswer() const;
    EExitCode Show(CSession& session, const std::string& item);

    std::string mMessage;
};
