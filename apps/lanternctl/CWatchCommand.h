// lanternctl watch [--alarms] [CODE...] [--count N] [--seconds S]
#pragma once

#include "apps/lanternctl/CAlarmHistory.h"
#include "apps/lanternctl/CControlInfo.h"
#include "apps/lanternctl/ICommand.h"

#include <map>
#include <string>
#include <vector>

/// Prints the state of the controls, then each change the moment it is announced; of the alarms, each that is
/// raised and each that is cleared.
class CWatchCommand : public ICommand
{
public:
    void Declare(CLI::App& arguments) override;
    EExitCode Run(CSession& session) override;

private:
    /// Learns what the controls are; an unknown one is refused by its name.
    std::vector<std::string> Describe(CSession& session);
    /// @returns how many changes that was; the state at the start is none
    unsigned Print(CSession& session, const Json::Value& change);
    void PrintChange(CSession& session, const Json::Value& change);
    unsigned PrintAlarms(CSession& session, const Json::Value& alarms);

    std::vector<std::string> mCodes;
    bool mWatchesAlarms = false;
    unsigned mCount = 0;                           // changes; 0: no end
    double mSeconds = 0.0;                         // 0: no end
    std::map<std::string, CControlInfo> mControls; // by code
    CAlarmHistory mAlarms;
};
