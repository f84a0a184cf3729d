// The options by CLI11.
#include "apps/lanternd/NOptions.h"

#include "apps/lanternd/SOptions.h"
#include "software/bp/serial/CSerialHandler.h"

#include <CLI/CLI.hpp>

#include <map>
#include <ostream>
#include <string>

#include <arpa/inet.h>

namespace
{
const std::map<std::string, ELogLevel> kLogLevels{
    {"debug", ELogLevel::Debug},     {"fyi", ELogLevel::Fyi},     {"normal", ELogLevel::Normal},
    {"warning", ELogLevel::Warning}, {"error", ELogLevel::Error}, {"off", ELogLevel::Off},
};

const std::map<std::string, EPtTransport> kTransports{
    {"local", EPtTransport::Local}, {"pcie", EPtTransport::Pcie}, {"spi", EPtTransport::Spi}};

constexpr int kLastUnit = 1023; // addresses above it are not of single units

std::string CheckAddress(const std::string& text)
{
    in_addr address{};
    return inet_pton(AF_INET, text.c_str(), &address) == 1
               ? std::string()
               : text + " is not an IPv4 address such as 127.0.0.1";
}

// It becomes part of a file name.
std::string CheckLanguage(const std::string& text)
{
    constexpr char kAllowed[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-";
    const bool isName = !text.empty() && text.find_first_not_of(kAllowed) == std::string::npos;
    return isName ? std::string() : text + " is not a language such as en";
}

void Declare(CLI::App& app, SOptions& options)
{
    app.add_option("--port", options.mPort, "TCP port of the JSON-RPC server, 0 takes a free one")
        ->type_name("N");
    app.add_option("--bind", options.mBindAddress, "IPv4 address that the server listens on")
        ->check(CheckAddress)
        ->type_name("ADDRESS");
    app.add_option("--run-dir", options.mRunDir, "Folder of the local sockets and of links to serial ports")
        ->type_name("DIR");
    app.add_option("--state-dir", options.mStateDir, "Folder of everything that outlives a restart")
        ->type_name("DIR");
    app.add_option("--config-dir", options.mConfigDir, "Folder of controls.json, menu.json and the texts")
        ->type_name("DIR");
    app.add_option("--language", options.mLanguage, "Language of names and help, for example en, de or fr")
        ->check(CheckLanguage)
        ->type_name("LANG");
    app.add_option("--serial", options.mSerialPorts,
                   "Serial port to serve, \"pty\" for a new pseudo-terminal; may be given several times")
        ->allow_extra_args(false) // one each time: what follows a port is an option or a mistake
        ->default_str("")
        ->type_name("DEVICE[:BAUD]|pty");
    app.add_option("--address", options.mAddress, "Address of this unit on the serial lines, 0 to 1023")
        ->check(CLI::Range(0, kLastUnit))
        ->default_str("none")
        ->type_name("N");
    app.add_option("--routing", options.mRouting,
                   "Serial ports that pass messages on: 0 2+4, 1 2+4+8, 2 2+4+16, 3 all")
        ->check(CLI::Range(int{eRouting2And4}, int{eRoutingAll}))
        ->default_str("0")
        ->type_name("N");
    app.add_option("--bus", options.mTransport, "Bus to the board's registers: local, pcie or spi")
        ->transform(CLI::CheckedTransformer(kTransports).description(""))
        ->default_str("local")
        ->type_name("BUS");
    app.add_option("--max-clients", options.mMaxClients,
                   "Most connections at a time; default: what the limit on file descriptors allows")
        ->check(CLI::PositiveNumber)
        ->type_name("N");
    app.add_option("--max-per-peer", options.mMaxPerPeer,
                   "Most connections of one address; default: half of --max-clients")
        ->check(CLI::PositiveNumber)
        ->type_name("N");
    app.add_option("--max-pending", options.mMaxPendingBytes,
                   "Most bytes received or unsent, of all clients together")
        ->check(CLI::PositiveNumber)
        ->type_name("BYTES");
    app.add_option("--log", options.mLogLevel,
                   "Least important lines to keep: debug, fyi, normal, warning, error, off")
        ->transform(CLI::CheckedTransformer(kLogLevels, CLI::ignore_case).description(""))
        ->default_str("fyi")
        ->type_name("LEVEL");
    app.add_option("--log-file", options.mLogFile, "Append the log to this file as well")->type_name("FILE");
    app.add_flag("--syslog", options.mUseSyslog, "Send the log to syslog as well");
}
} // namespace

std::optional<int> NOptions::Parse(int argc, const char* const* argv, SOptions& options, std::ostream& out,
                                   std::ostream& err)
{
    options.mConfigDir = LANTERN_CONFIG_DIR;
    CLI::App app(
        "Controller daemon of a projector: serves its controls over JSON-RPC, local sockets and serial "
        "lines.",
        "lanternd");
    app.option_defaults()->always_capture_default();
    app.set_version_flag("--version", "lanternd " LANTERN_VERSION);
    Declare(app, options);
    try
    {
        app.parse(argc, argv);
        if (options.mSerialPorts.size() > CSerialHandler::kMaxPorts)
            throw CLI::ValidationError("--serial", "at most " + std::to_string(CSerialHandler::kMaxPorts) +
                                                       " serial ports");
    }
    catch (const CLI::Success& request) // help or version
    {
        return app.exit(request, out, err);
    }
    catch (const CLI::ParseError& error)
    {
        err << "lanternd: " << error.what() << " (see lanternd --help)\n";
        return kExitUsage;
    }
    return std::nullopt;
}
