// One change of a control nobody listens to, against the virtual call that it cannot do without.
#include "software/bp/serial/CProjCon.h"

#include "bench/support/CAcceptingProxy.h"
#include "bench/support/NAllocations.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/utility/CSilentLog.h"

#include <benchmark/benchmark.h>

#include <string>

namespace
{
void SetValue(benchmark::State& state)
{
    CSilentLog log;
    CEventDispatcher dispatcher(log);
    CAcceptingProxy proxy;
    CProjCon control(eDisplayInteger, dispatcher, proxy, "BRI", false, -100, 100, 0, eAccessOperator, 0, 0, 0,
                     false);
    int value = 0;
    const CAllocationCount allocations;
    for (auto _ : state)
    {
        value ^= 1; // setting what it already is would announce nothing
        if (control.SetValue(value) != 0)
            state.SkipWithError("SetValue was refused");
    }
    NAllocations::Report(state, allocations);
    dispatcher.RemoveControl("BRI");
}
BENCHMARK(SetValue);

void SetValueLimit(benchmark::State& state)
{
    CAcceptingProxy accepting;
    IControlProxy* proxy = &accepting;
    benchmark::DoNotOptimize(proxy); // from here on any class may stand behind it
    const std::string code = "BRI";
    int value = 0;
    const CAllocationCount allocations;
    for (auto _ : state)
    {
        value ^= 1;
        if (!proxy->ApplyValue(code, value))
            state.SkipWithError("ApplyValue was refused");
    }
    NAllocations::Report(state, allocations);
}
BENCHMARK(SetValueLimit);
} // namespace
