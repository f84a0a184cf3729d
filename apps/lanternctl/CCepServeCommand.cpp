// The module of the simulator, and a line that says when it is ready.
#include "apps/lanternctl/CCepServeCommand.h"

#include "apps/lanternctl/CCommandFailure.h"
#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/CStopRequest.h"
#include "simulator/CSimulatedModuleServer.h"
#include "software/utility/CException.h"
#include "software/utility/CSilentLog.h"

#include <CLI/App.hpp>
#include <ostream>
#include <poll.h>

namespace
{
constexpr std::chrono::milliseconds kLongWait{3'600'000};
constexpr unsigned kMaxDelayMs = 3'600'000;

bool IsReadable(int descriptor)
{
    pollfd wanted{descriptor, POLLIN, 0};
    return poll(&wanted, 1, 0) > 0;
}
} // namespace

void CCepServeCommand::Declare(CLI::App& arguments)
{
    arguments.add_option("SOCKET", mSocket, "Unix socket to make, and to listen on")
        ->type_name("")
        ->required();
    arguments
        .add_option("--fault", mFault,
                    std::string("What happens to replies: ") + CSimulatedModuleServer::kFaultNames)
        ->type_name("KIND");
    arguments.add_option("--every", mEvery, "... to every so many of them")
        ->type_name("N")
        ->check(CLI::PositiveNumber.description(""))
        ->capture_default_str();
    arguments.add_option("--delay", mDelayMs, "How long it thinks before a reply, ms")
        ->type_name("MS")
        ->check(CLI::Range(0u, kMaxDelayMs).description(""))
        ->capture_default_str();
}

EExitCode CCepServeCommand::Run(CSession& session)
{
    CSimulatedModuleServer::SFaults faults{EModuleFault::None, mEvery, std::chrono::milliseconds(mDelayMs)};
    if (!CSimulatedModuleServer::FindFault(mFault, faults.mFault))
        throw CCommandFailure(EExitCode::WrongUsage, "no fault is called \"" + mFault + "\"; one of: " +
                                                         CSimulatedModuleServer::kFaultNames);
    try
    {
        const CStopRequest stop;
        CSilentLog log;
        CSimulatedModuleServer server(mSocket, log);
        server.SetFaults(faults);
        server.AddWake(stop.GetDescriptor());
        session.Out() << "module ready: " << mSocket << '\n';
        session.Flush();
        while (!IsReadable(stop.GetDescriptor()))
            server.ProcessEvents(kLongWait);
        return EExitCode::Done;
    }
    catch (const CException& error)
    {
        throw CCommandFailure(EExitCode::NoConnection, error.GetMessage());
    }
}
