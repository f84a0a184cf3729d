// account: who may log in.
#pragma once

#include "apps/lanternctl/ICommand.h"

#include <string>

class CAccountFile;

/// Works on the daemon's file, also while it runs: it reads it again at the next log-in. Whoever may write to
/// the state folder may do so.
class CAccountCommand : public ICommand
{
public:
    void Declare(CLI::App& arguments) override;
    EExitCode Run(CSession& session) override;

private:
    void CheckArguments() const;
    void List(CSession& session, const CAccountFile& file) const;
    void Add(const CAccountFile& file) const;
    void SetPassword(const CAccountFile& file) const;
    void Remove(const CAccountFile& file) const;

    std::string mAction;
    std::string mName;
    std::string mStateDir = "/var/lib/lantern";
    int mLevel = 0; // 0: not given
    bool mForce = false;
};
