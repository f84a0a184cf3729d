// lanternctl watch CODE... [--count N] [--seconds S]
#pragma once

#include "apps/lanternctl/CControlInfo.h"
#include "apps/lanternctl/ICommand.h"

#include <map>
#include <string>
#include <vector>

/// Prints the state of the controls, then each change the moment it is announced.
class CWatchCommand : public ICommand
{
public:
    void Declare(CLI::App& arguments) override;
    EExitCode Run(CSession& session) override;

private:
    /// Learns what the controls are; an unknown one is refused by its name.
    std::vector<std::string> Describe(CSession& session);
    void Print(CSession& session, const Json::Value& change);

    std::vector<std::string> mCodes;
    unsigned mCount = 0;                           // changes; 0: no end
    double mSeconds = 0.0;                         // 0: no end
    std::map<std::string, CControlInfo> mControls; // by code
};
