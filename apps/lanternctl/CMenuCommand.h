// lanternctl menu [ID]
#pragma once

#include "apps/lanternctl/ICommand.h"

#include <set>
#include <string>
#include <vector>

class CControlInfo;
class CMenuReader;
class CTextTable;

/// A menu and everything below it as a tree, with the values of this moment.
class CMenuCommand : public ICommand
{
public:
    void Declare(CLI::App& arguments) override;
    EExitCode Run(CSession& session) override;

private:
    /// One walk through the menus; each is opened once, wherever else it is listed.
    struct SWalk;

    static void OpenMenu(SWalk& walk, const std::string& code, const std::string& lines);
    static void AddItems(SWalk& walk, const std::vector<CControlInfo>& items, const std::string& lines);
    static void AddItem(SWalk& walk, const CControlInfo& item, const std::string& branch,
                        const std::string& lines);

    std::string mMenu;
};
