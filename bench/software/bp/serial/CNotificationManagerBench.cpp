// Finding who is to hear of a change; scripts/bench sets it against the time of the sends.
#include "software/bp/serial/CNotificationManager.h"

#include "bench/support/NAllocations.h"

#include <benchmark/benchmark.h>

#include <list>
#include <string>

namespace
{
/// The argument is the number of subscribers of the code; every one of them listens to other codes as well.
void FindRecipients(benchmark::State& state)
{
    const auto subscribers = static_cast<std::size_t>(state.range(0));
    CNotificationManager manager;
    for (const char* const code : {"PWR", "BRI", "SRC"})
        for (std::size_t id = 0; id < subscribers; ++id)
            manager.NotifyRegister(code, CNotificationManager::MakeAddrFromSocket(static_cast<int>(id)));

    const auto before = NAllocations::GetCount();
    for (auto _ : state)
    {
        std::list<std::string> recipients;
        manager.GetC4jRecipientList("BRI", recipients);
        if (recipients.size() != subscribers)
            state.SkipWithError("Not every subscriber was found");
    }
    NAllocations::Report(state, before);
}
BENCHMARK(FindRecipients)->Arg(100)->Arg(1000);
} // namespace
