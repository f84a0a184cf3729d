// The table of sub-commands, and the way from the command line to one of them.
#include "apps/lanternctl/CProgram.h"

#include "apps/lanternctl/CAccountCommand.h"
#include "apps/lanternctl/CAlarmsCommand.h"
#include "apps/lanternctl/CCallCommand.h"
#include "apps/lanternctl/CCepCommand.h"
#include "apps/lanternctl/CCommandFailure.h"
#include "apps/lanternctl/CCompletionCommand.h"
#include "apps/lanternctl/CFavCommand.h"
#include "apps/lanternctl/CGetCommand.h"
#include "apps/lanternctl/CHdfCommand.h"
#include "apps/lanternctl/CInfoCommand.h"
#include "apps/lanternctl/CJobsCommand.h"
#include "apps/lanternctl/CListCommand.h"
#include "apps/lanternctl/CMenuCommand.h"
#include "apps/lanternctl/CModulesCommand.h"
#include "apps/lanternctl/CSendCommand.h"
#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/CSetCommand.h"
#include "apps/lanternctl/CStatusCommand.h"
#include "apps/lanternctl/CWatchCommand.h"
#include "apps/lanternctl/ICommand.h"
#include "software/utility/NUtf8.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace
{
constexpr unsigned kMaxTimeoutMs = 3'600'000;

template <typename T>
std::unique_ptr<ICommand> Make()
{
    return std::make_unique<T>();
}

struct SCommandRow
{
    const char* mName;
    const char* mHelp;
    std::unique_ptr<ICommand> (*mMake)();
    unsigned mTransports; // the set of those it works over
};

constexpr SCommandRow kCommands[] = {
    {"get", "Show values", &Make<CGetCommand>, kOverAll},
    {"set", "Set a value, or start an action", &Make<CSetCommand>, kOverAll},
    {"info", "Show everything about a control", &Make<CInfoCommand>, kOverAll},
    {"list", "List the controls", &Make<CListCommand>, eOverTcp},
    {"watch", "Show changes as they happen", &Make<CWatchCommand>, kOverAll},
    {"status", "Show how the projector is doing", &Make<CStatusCommand>, eOverTcp | eOverIpc},
    {"alarms", "Show what is not as it should be", &Make<CAlarmsCommand>, eOverTcp | eOverIpc},
    {"menu", "Show a menu and what is below it", &Make<CMenuCommand>, eOverTcp},
    {"fav", "Show or change the favourites", &Make<CFavCommand>, eOverTcp},
    {"modules", "List the groups of methods", &Make<CModulesCommand>, eOverTcp},
    {"jobs", "Show the periodic work of the controller", &Make<CJobsCommand>, eOverTcp},
    {"call", "Call any method", &Make<CCallCommand>, eOverTcp},
    {"send", "Send one message as it is, over a serial line", &Make<CSendCommand>, eOverSerial},
    {"cep", "Messages of a companion module: decode, encode, talk, serve", &Make<CCepCommand>, kOverAll},
    {"hdf", "Configuration data sets: show, dump, get, set, pack, unpack", &Make<CHdfCommand>, kOverAll},
    {"account", "List and change who may log in, in the daemon's state folder", &Make<CAccountCommand>,
     kOverAll},
    {"completion", "Print a completion script for a shell", &Make<CCompletionCommand>, kOverAll},
};

struct STransportRow
{
    ETransport mTransport;
    const char* mWords;
};
constexpr STransportRow kTransports[] = {
    {eOverTcp, "TCP (--host, --port)"},
    {eOverIpc, "the local IPC (--ipc)"},
    {eOverSerial, "a serial line (--serial)"},
};

std::string GetWords(unsigned transports)
{
    std::string words;
    for (const STransportRow& row : kTransports)
        if ((row.mTransport & transports) != 0)
            words += (words.empty() ? "" : " and ") + std::string(row.mWords);
    return words;
}

constexpr char kFooter[] =
    "Over --ipc and --serial numbers are shown and taken as they are, without decimals and units (73.5 % is\n"
    "735, on is 1), and list, menu, fav, modules, jobs, call and watch --alarms are not possible, nor status "
    "and\n"
    "alarms over --serial. Over --ipc you are the controller itself: no control is protected.\n"
    "Exit codes: 0 done, 1 the projector refused, 2 wrong usage, 3 no connection or no answer in time.\n"
    "Examples:\n"
    "  lanternctl set LUM 73.5\n"
    "  lanternctl set SRC \"HDMI 2\"\n"
    "  lanternctl --host 192.168.1.10 watch LUM TP1\n"
    "  lanternctl --ipc /var/run/ui set LUM 735\n"
    "  lanternctl --serial /dev/ttyS0:9600 send '(LUM?)'";

constexpr char kCommandFooter[] = "The options that all commands share: lanternctl --help";

/// The declared command line: one row of the table becomes one sub-command.
class CArguments
{
public:
    CArguments()
        : mApp("Controls a projector", "lanternctl")
    {
        mApp.fallthrough(); // "--json" may stand behind the sub-command too
        mApp.require_subcommand(0, 1);
        mApp.set_version_flag("--version", std::string("lanternctl " LANTERN_VERSION));
        mApp.footer(kFooter);
        DeclareTransports();
        mApp.add_option("--user", mOptions.mUser,
                        "Log in first; the password comes from LANTERN_PASSWORD, or is asked for")
            ->type_name("NAME");
        mApp.add_option("--timeout", mOptions.mTimeoutMs,
                        "Longest wait for the connection and for each answer, ms")
            ->type_name("MS")
            ->check(CLI::Range(1u, kMaxTimeoutMs).description(""))
            ->capture_default_str();
        mApp.add_flag("--json", mOptions.mJson, "Print the raw members as JSON, one document a line");
        for (const SCommandRow& row : kCommands)
        {
            CLI::App* arguments = mApp.add_subcommand(row.mName, row.mHelp);
            arguments->footer(kCommandFooter);
            const auto& command = mCommands[arguments] = row.mMake();
            command->Declare(*arguments);
        }
    }

    CLI::App& GetApp() noexcept { return mApp; }
    const SClientOptions& GetOptions() const noexcept { return mOptions; }

    /// The sub-command that was asked for. @throws CCommandFailure (wrong usage) when there is none
    ICommand& GetCommand() const
    {
        const auto chosen = mApp.get_subcommands();
        if (chosen.empty())
            throw CCommandFailure(EExitCode::WrongUsage, "a command is missing; one of: " + GetNames());
        return *mCommands.at(chosen.front());
    }

    /// The parser's complaint in words that help.
    std::string Explain(const CLI::ParseError& error) const
    {
        const auto* extras = dynamic_cast<const CLI::ExtrasError*>(&error);
        if (extras == nullptr)
            return error.what();
        const std::vector<std::string> remaining = mApp.remaining(true);
        const bool isOption = !remaining.empty() && remaining.front().front() == '-';
        if (mApp.get_subcommands().empty() && !remaining.empty() && !isOption)
            return "no such command \"" + remaining.front() + "\"; one of: " + GetNames();
        return error.what() +
               std::string(isOption ? "; a value that starts with \"-\" goes behind \"--\"" : "");
    }

    /// @throws CCommandFailure (wrong usage) when the command does not work over the chosen way
    void CheckTransport() const
    {
        const std::string name = mApp.get_subcommands().front()->get_name();
        const auto row = std::find_if(std::begin(kCommands), std::end(kCommands),
                                      [&](const SCommandRow& r) { return name == r.mName; });
        const ETransport chosen = mOptions.GetTransport();
        if ((row->mTransports & chosen) == 0)
            throw CCommandFailure(EExitCode::WrongUsage, name + " works over " + GetWords(row->mTransports) +
                                                             " only, not over " + GetWords(chosen));
        if (!mOptions.mUser.empty() && chosen == eOverIpc)
            throw CCommandFailure(EExitCode::WrongUsage,
                                  "nobody logs in over the local IPC, where you are the controller itself");
        if (!mOptions.mUser.empty() && name == "send")
            throw CCommandFailure(
                EExitCode::WrongUsage,
                "send sends one message only; to log in, send '(UID\"NAME\" \"PASSWORD\")'");
    }

private:
    void DeclareTransports()
    {
        CLI::Option* host = mApp.add_option("--host", mOptions.mHost, "Name or address of the projector")
                                ->type_name("H")
                                ->envname("LANTERN_HOST")
                                ->capture_default_str();
        CLI::Option* port = mApp.add_option("--port", mOptions.mPort, "TCP port of its JSON-RPC interface")
                                ->envname("LANTERN_PORT")
                                ->type_name("N")
                                ->check(CLI::Range(1, 65535).description(""))
                                ->capture_default_str();
        CLI::Option* ipc = DeclareOtherWay("--ipc", mOptions.mRunDirectory,
                                           "Instead: the projector whose local sockets are in this folder",
                                           "RUN-DIR", {host, port});
        DeclareOtherWay("--serial", mOptions.mSerial,
                        "Instead: the projector at this serial line, at 115200 baud if not given",
                        "DEVICE[:BAUD]", {host, port})
            ->excludes(ipc);
    }

    // What the environment says of the network is not meant when another way is asked for.
    CLI::Option* DeclareOtherWay(const char* name, std::string& value, const char* help, const char* type,
                                 const std::vector<CLI::Option*>& network)
    {
        const auto take = [name, &value, network](const std::string& given)
        {
            if (given.empty())
                throw CLI::ValidationError(name, "must not be empty");
            value = given;
            for (CLI::Option* option : network)
                option->envname("");
        };
        CLI::Option* way = mApp.add_option_function<std::string>(name, take, help)->type_name(type);
        for (CLI::Option* option : network)
            way->excludes(option);
        return way->trigger_on_parse(); // before the environment is read
    }

    static std::string GetNames()
    {
        std::string names;
        for (const SCommandRow& row : kCommands)
            names += (names.empty() ? "" : ", ") + std::string(row.mName);
        return names;
    }

    SClientOptions mOptions;
    CLI::App mApp;
    std::map<const CLI::App*, std::unique_ptr<ICommand>> mCommands;
};

// What is sent to a projector is JSON, which is UTF-8.
void CheckEncoding(int argc, const char* const* arguments)
{
    for (int i = 1; i < argc; ++i)
    {
        if (!NUtf8::IsStorable(arguments[i]))
            throw CCommandFailure(EExitCode::WrongUsage,
                                  "argument " + std::to_string(i) + " is not valid UTF-8");
    }
}

EExitCode RunCommand(CSession& session, CArguments& declared, int argc, const char* const* arguments)
{
    try
    {
        CheckEncoding(argc, arguments);
        declared.GetApp().parse(argc, arguments);
        ICommand& command = declared.GetCommand();
        declared.CheckTransport();
        return command.Run(session);
    }
    catch (const CLI::CallForHelp&)
    {
        session.Out() << declared.GetApp().help();
        return EExitCode::Done;
    }
    catch (const CLI::CallForVersion& version)
    {
        session.Out() << version.what() << '\n';
        return EExitCode::Done;
    }
    catch (const CLI::ParseError& error)
    {
        throw CCommandFailure(EExitCode::WrongUsage, declared.Explain(error) + " (see lanternctl --help)");
    }
}
} // namespace

int CProgram::Run(int argc, const char* const* arguments)
{
    CArguments declared;
    CSession session(declared.GetOptions(), mOut, mError, mIsTerminal);
    EExitCode exitCode = EExitCode::Done;
    try
    {
        exitCode = RunCommand(session, declared, argc, arguments);
        session.Flush(); // a reader who left early has seen enough
    }
    catch (const CCommandFailure& failure)
    {
        mOut.flush(); // what was printed before comes first
        session.Complain(failure.what());
        exitCode = failure.GetExitCode();
    }
    return static_cast<int>(exitCode);
}
