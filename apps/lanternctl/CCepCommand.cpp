// One row an action.
#include "apps/lanternctl/CCepCommand.h"

#include "apps/lanternctl/CCepDecodeCommand.h"
#include "apps/lanternctl/CCepEncodeCommand.h"
#include "apps/lanternctl/CCepServeCommand.h"
#include "apps/lanternctl/CCepTalkCommand.h"

#include <CLI/App.hpp>

namespace
{
template <typename T>
std::unique_ptr<ICommand> Make()
{
    return std::make_unique<T>();
}

struct SActionRow
{
    const char* mName;
    const char* mHelp;
    std::unique_ptr<ICommand> (*mMake)();
};
constexpr SActionRow kActions[] = {
    {"decode", "Show the messages of a captured stream", &Make<CCepDecodeCommand>},
    {"encode", "Make messages from JSON on standard input", &Make<CCepEncodeCommand>},
    {"talk", "Send one request to a module and show its reply", &Make<CCepTalkCommand>},
    {"serve", "Be a simulated module, until Ctrl-C", &Make<CCepServeCommand>},
};

constexpr char kFooter[] = "These need no projector. To try them:\n"
                           "  lanternctl cep serve /tmp/module.socket &\n"
                           "  lanternctl cep talk /tmp/module.socket get\n"
                           "  lanternctl cep talk /tmp/module.socket set 17=uint16:900\n"
                           "The options that all commands share: lanternctl --help";
} // namespace

void CCepCommand::Declare(CLI::App& arguments)
{
    mArguments = &arguments;
    arguments.require_subcommand(1);
    arguments.footer(kFooter);
    for (const SActionRow& row : kActions)
    {
        CLI::App* action = arguments.add_subcommand(row.mName, row.mHelp);
        action->footer(kFooter);
        const auto& command = mActions[action] = row.mMake();
        command->Declare(*action);
    }
}

EExitCode CCepCommand::Run(CSession& session)
{
    return mActions.at(mArguments->get_subcommands().front())->Run(session); // one is required
}
