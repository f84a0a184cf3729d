// Fills the templates in completion/.
#include "apps/lanternctl/CCompletionCommand.h"

#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/CompletionScripts.h"

#include <CLI/App.hpp>
#include <algorithm>
#include <ostream>
#include <string_view>
#include <vector>

namespace
{
struct SShell
{
    const char* mName;
    const char* mTemplate;
};
constexpr SShell kShells[] = {{"bash", kBashCompletion}, {"zsh", kZshCompletion}};

void Replace(std::string& text, std::string_view placeholder, const std::string& by)
{
    for (std::size_t at = text.find(placeholder); at != std::string::npos; at = text.find(placeholder, at))
    {
        text.replace(at, placeholder.size(), by);
        at += by.size();
    }
}

void Append(std::string& list, std::string_view separator, const std::string& word)
{
    if (!list.empty())
        list += separator;
    list += word;
}

std::string LongOptions(const CLI::App& arguments, bool onlyWithValue, std::string_view separator)
{
    std::string list;
    for (const CLI::Option* option : arguments.get_options())
    {
        if (onlyWithValue && option->get_items_expected_max() == 0)
            continue;
        for (const std::string& name : option->get_lnames())
            Append(list, separator, "--" + name);
    }
    return list;
}

const auto kAll = [](const CLI::App*) { return true; };

// Of a command, and of the actions that it has as commands of their own.
std::string OwnOptions(const CLI::App& command, bool onlyWithValue, std::string_view separator)
{
    std::string list = LongOptions(command, onlyWithValue, separator);
    for (const CLI::App* action : command.get_subcommands(kAll))
    {
        const std::string options = LongOptions(*action, onlyWithValue, separator);
        if (!options.empty())
            Append(list, separator, options);
    }
    return list;
}

// "'get:Show values'", a line each: the form of zsh's _describe.
std::string DescribedCommands(const std::vector<const CLI::App*>& commands)
{
    std::string lines;
    for (const CLI::App* command : commands)
        Append(lines, "\n", "        '" + command->get_name() + ":" + command->get_description() + "'");
    return lines;
}
} // namespace

void CCompletionCommand::Declare(CLI::App& arguments)
{
    std::vector<std::string> names;
    for (const SShell& shell : kShells)
        names.emplace_back(shell.mName);
    arguments.add_option("SHELL", mShell, "bash or zsh")
        ->type_name("")
        ->required()
        ->check(CLI::IsMember(names));
    mArguments = &arguments;
}

EExitCode CCompletionCommand::Run(CSession& session)
{
    const CLI::App& program = *mArguments->get_parent();
    const std::vector<const CLI::App*> commands = program.get_subcommands(kAll);
    std::string names;
    std::string options; // "list) options='--format' ;;", a line each
    std::string valueOptions = LongOptions(program, true, "|");
    for (const CLI::App* command : commands)
    {
        Append(names, " ", command->get_name());
        Append(options, "\n",
               "    " + command->get_name() + ") own='" + OwnOptions(*command, false, " ") + "' ;;");
        const std::string withValue = OwnOptions(*command, true, "|");
        if (!withValue.empty())
            Append(valueOptions, "|", withValue);
    }

    const auto shell = std::find_if(std::begin(kShells), std::end(kShells),
                                    [&](const SShell& s) { return mShell == s.mName; });
    std::string script = shell->mTemplate; // the check of the argument left no other name
    Replace(script, "%COMMANDS%", names);
    Replace(script, "%DESCRIBED_COMMANDS%", DescribedCommands(commands));
    Replace(script, "%OPTIONS%", LongOptions(program, false, " "));
    Replace(script, "%OPTIONS_BY_COMMAND%", options);
    Replace(script, "%OPTIONS_WITH_VALUE%", valueOptions);
    session.Out() << script;
    return EExitCode::Done;
}
