// Look-up of a control by its code, against one look-up in an ordered map.
#include "software/bp/serial/CEventDispatcher.h"

#include "bench/support/CAcceptingProxy.h"
#include "bench/support/NAllocations.h"
#include "software/bp/serial/CProjCon.h"
#include "software/utility/CSilentLog.h"

#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace
{
/// As many codes as a large projector has controls. Longer than a std::string keeps inside itself, so that a
/// copy of the text would show as an allocation.
std::vector<std::string> MakeCodes()
{
    constexpr int kControls = 300;
    std::vector<std::string> codes;
    codes.reserve(kControls);
    for (int i = 0; i < kControls; ++i)
        codes.push_back("KST+ALONGSUBCODEOFNUMBER" + std::to_string(1000 + i));
    return codes;
}

/// Asks for every code in turn, as text that is not in a std::string.
template <typename Find>
void LookUpEach(benchmark::State& state, const std::vector<std::string>& codes, Find find)
{
    const std::vector<std::string_view> views(codes.begin(), codes.end());
    std::size_t next = 0;
    const CAllocationCount allocations;
    for (auto _ : state)
    {
        if (!find(views[next]))
            state.SkipWithError("A code was not found");
        next = next + 1 == views.size() ? 0 : next + 1;
    }
    NAllocations::Report(state, allocations);
}

void GetControl(benchmark::State& state)
{
    CSilentLog log;
    CEventDispatcher dispatcher(log);
    CAcceptingProxy proxy;
    const auto codes = MakeCodes();
    std::vector<std::unique_ptr<CProjCon>> controls;
    controls.reserve(codes.size());
    for (const auto& code : codes)
        controls.push_back(std::make_unique<CProjCon>(eDisplayInteger, dispatcher, proxy, code, false, -100,
                                                      100, 0, eAccessOperator, 0, 0, 0, false));
    LookUpEach(state, codes, [&](std::string_view code) { return dispatcher.GetControl(code) != nullptr; });
    for (const auto& code : codes)
        dispatcher.RemoveControl(code);
}
BENCHMARK(GetControl);

void GetControlLimit(benchmark::State& state)
{
    const auto codes = MakeCodes();
    std::map<std::string, int, std::less<>> map;
    for (const auto& code : codes)
        map.emplace(code, 0);
    LookUpEach(state, codes, [&](std::string_view code) { return map.find(code) != map.end(); });
}
BENCHMARK(GetControlLimit);
} // namespace
