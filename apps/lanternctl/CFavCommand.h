// lanternctl fav list|add|remove|clear
#pragma once

#include "apps/lanternctl/ICommand.h"

#include <string>
#include <vector>

/// The favourites: a menu that users fill themselves.
class CFavCommand : public ICommand
{
public:
    void Declare(CLI::App& arguments) override;
    EExitCode Run(CSession& session) override;

private:
    struct SAction
    {
        const char* mName;
        bool mTakesCodes;
        void (CFavCommand::*mRun)(CSession& session) const;
    };
    static const std::vector<SAction> kActions;

    void List(CSession& session) const;
    void Add(CSession& session) const;
    void Remove(CSession& session) const;
    void Clear(CSession& session) const;

    std::string mAction;
    std::vector<std::string> mCodes;
};
