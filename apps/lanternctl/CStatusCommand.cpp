// Group after group, for no request answers all items.
#include "apps/lanternctl/CStatusCommand.h"

#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/IProjectorLink.h"
#include "apps/lanternctl/NStatusTable.h"

#include <CLI/App.hpp>

#include <strings.h>

void CStatusCommand::Declare(CLI::App& arguments)
{
    arguments.add_option("GROUP", mGroup, "Only this group, such as Temperature, in any case")->type_name("");
}

EExitCode CStatusCommand::Run(CSession& session)
{
    IProjectorLink& link = session.GetLink();
    std::vector<Json::Value> items;
    const auto add = [&](const std::string& group)
    {
        const std::vector<Json::Value> more = link.GetStatusItems(group);
        items.insert(items.end(), more.begin(), more.end());
    };
    bool isFound = false;
    for (const std::string& group : link.GetStatusGroups())
    {
        if (!mGroup.empty() && strcasecmp(group.c_str(), mGroup.c_str()) != 0)
            continue;
        add(group);
        isFound = true;
    }
    if (!isFound && !mGroup.empty())
        add(mGroup); // refused by its name
    NStatusTable::Print(session, std::move(items), "No items");
    return EExitCode::Done;
}
