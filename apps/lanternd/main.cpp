// lanternd: the controller daemon of a projector.
#include "apps/lanternd/CDaemon.h"
#include "apps/lanternd/NOptions.h"
#include "apps/lanternd/NProcess.h"
#include "apps/lanternd/SOptions.h"
#include "software/utility/CLogger.h"
#include "software/utility/NReason.h"
#include "software/utility/SLogOptions.h"

#include <cstdlib>
#include <exception>
#include <iostream>
#include <optional>

namespace
{
constexpr unsigned kEqualLines = 5; // of a log in a row, the rest is counted

SLogOptions LogOptions(const SOptions& options)
{
    SLogOptions log;
    log.mLevel = options.mLogLevel;
    log.mToSyslog = options.mUseSyslog;
    log.mFile = options.mLogFile;
    return log;
}
} // namespace

int main(int argc, char** argv)
{
    NProcess::IgnoreSigPipe();
    SOptions options;
    if (const std::optional<int> exitCode = NOptions::Parse(argc, argv, options, std::cout, std::cerr))
        return *exitCode;
    try
    {
        CLogger::SetDefaults(LogOptions(options));
        CLogger log("lanternd");
        log.EnableAntiSpam(kEqualLines);
        CDaemon daemon(options, log);
        daemon.PrintReady(std::cout);
        daemon.Run();
    }
    catch (const std::exception& error)
    {
        std::cerr << "lanternd: " << NReason::Of(error) << '\n';
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
