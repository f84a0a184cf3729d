// Finding who is to hear of a change, and on which connection: all of a fan-out but its sends.
#include "software/bp/c4j/CJsonRpcServer.h"

#include "bench/support/NAllocations.h"
#include "bench/support/NLoopback.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/utility/CSilentLog.h"
#include "tests/support/CManualClock.h"

#include <benchmark/benchmark.h>

#include <list>
#include <string>
#include <vector>

namespace
{
/// The argument is the number of subscribers of the code; every one of them listens to other codes as well.
void FindRecipients(benchmark::State& state)
{
    NLoopback::RaiseDescriptorLimit();
    CSilentLog log;
    CManualClock clock(1000);
    CEventDispatcher dispatcher(log);
    CNotificationManager& manager = dispatcher.GetNotificationManager();
    CJsonRpcServer server(dispatcher, "127.0.0.1", 0, clock, log);

    const auto subscribers = static_cast<std::size_t>(state.range(0));
    std::vector<CDescriptor> clients;
    while (clients.size() < subscribers)
    {
        const std::string address = CNotificationManager::MakeAddrFromSocket(
            static_cast<int>(SJsonRpcClient::mGlobalId)); // that of the next client
        clients.push_back(NLoopback::Connect(server.GetPort()));
        while (server.GetClientCount() < clients.size())
            server.ProcessMessages();
        for (const char* const code : {"PWR", "BRI", "SRC"})
            manager.NotifyRegister(code, address);
    }

    const CAllocationCount allocations;
    for (auto _ : state)
    {
        std::list<std::string> recipients;
        dispatcher.GetC4jNotifyRecipientList("BRI", recipients);
        std::size_t found = 0;
        for (const std::string& recipient : recipients)
            found += server.IsClientConnected(CJsonRpcServer::GetJsonClientDescriptorFromString(recipient));
        if (found != subscribers)
            state.SkipWithError("Not every subscriber was found");
    }
    NAllocations::Report(state, allocations);
}
BENCHMARK(FindRecipients)->Arg(100)->Arg(1000);
} // namespace
