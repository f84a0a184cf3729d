// Messages of a serial line a second, against a line that puts each argument as text into a map, and against
// a scan that keeps nothing.
#include "software/bp/serial/CVarnholtSerialParser.h"

#include "bench/support/NAllocations.h"
#include "software/bp/serial/CCommPort.h"
#include "software/bp/serial/CEventLink.h"
#include "software/bp/serial/CSerialHandler.h"
#include "software/bp/serial/IIpcClient.h"
#include "software/utility/CSilentLog.h"
#include "tests/support/CManualClock.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace
{
/// Replies of another unit, so that nobody acts on them.
constexpr std::string_view kMessages =
    "(PWR!001)(KST+TLPX! -12)(LUM!00735)(NME! \"Hall 3, left\")"
    "(SRC!L001 001 00002 \"DisplayPort\")(TP1!0412)(GAM! 22 1 30)(BRI!-05)";
constexpr int kMessageCount = 8;
static_assert(kMessages.size() < 200, "a read gives them all");

/// Gives the messages again and again.
class CEndlessPort : public CCommPort
{
public:
    CEndlessPort()
        : CCommPort("endless", CDescriptor())
    {
    }
    int Read(unsigned char* bytes, int) override
    {
        std::copy(kMessages.begin(), kMessages.end(), bytes);
        return static_cast<int>(kMessages.size());
    }
    bool Write(const unsigned char*, int) override
    {
        mHasWritten = true;
        return true;
    }
    bool mHasWritten = false; // an error
};

class CNoClient : public IIpcClient
{
public:
    bool Send(CIpcMessage&, unsigned) override { return false; }
    bool Receive(CIpcMessage&, unsigned) override { return false; }
    void Disconnect() noexcept override {}
    bool IsLocal() const noexcept override { return true; }
    bool OpenNotify() override { return false; }
    const std::string& GetNotifyAddress() const noexcept override { return mAddress; }
    int GetNotifyDescriptor() const noexcept override { return -1; }
    void ProcessNotify(std::list<CIpcMessage>&) override {}
    bool IsNotifyLost() const noexcept override { return false; }
    void SetNotifyHandler(NotifyHandler) override {}

private:
    std::string mAddress;
};

void SerialParse(benchmark::State& state)
{
    CSilentLog log;
    const CManualClock clock(100);
    CSerialHandler handler(nullptr, clock, log);
    CEventLink link(log, std::make_unique<CNoClient>());
    CEndlessPort port;
    CVarnholtSerialParser parser(&link, &handler, &port, log);
    for (int i = 0; i < kMessageCount; ++i)
        parser.ProcessData(); // makes the room that all others use
    const CAllocationCount before;
    for (auto _ : state)
    {
        for (int i = 0; i < kMessageCount; ++i)
        {
            if (parser.ProcessData() != ERxResult::Complete)
                state.SkipWithError("A message was not taken");
        }
    }
    if (port.mHasWritten)
        state.SkipWithError("A message was refused");
    NAllocations::Report(state, before);
}
BENCHMARK(SerialParse);

/// Hands the code and each argument of each message to a visitor, looking at each character once. It takes
/// these messages and no others, but never looks beyond their end.
template <typename TCode, typename TArgument>
void Scan(std::string_view text, TCode takeCode, TArgument takeArgument)
{
    const char* at = text.data();
    const char* const end = at + text.size();
    while (at != end)
    {
        const char* start = ++at; // behind "("
        while (at != end && *at != '!')
            ++at;
        takeCode(std::string_view(start, static_cast<std::size_t>(at - start)));
        if (at != end)
            ++at;
        for (int key = 0; at != end && *at != ')'; ++key)
        {
            while (at != end && *at == ' ')
                ++at;
            start = at;
            const bool isText = at != end && *at == '"';
            if (isText)
                ++at;
            while (at != end && (isText ? *at != '"' : *at != ' ' && *at != ')'))
                ++at;
            if (isText && at != end)
                ++at;
            takeArgument(key, std::string_view(start, static_cast<std::size_t>(at - start)));
        }
        if (at != end)
            ++at;
    }
}

void SerialParseLimit(benchmark::State& state)
{
    std::string code;
    std::map<int, std::string> arguments;
    const CAllocationCount before;
    for (auto _ : state)
    {
        Scan(
            kMessages,
            [&](std::string_view text)
            {
                code = text;
                arguments.clear();
            },
            [&](int key, std::string_view text) { arguments[key] = text; });
        benchmark::DoNotOptimize(code);
        benchmark::DoNotOptimize(arguments);
    }
    NAllocations::Report(state, before);
}
BENCHMARK(SerialParseLimit);

void SerialParseScan(benchmark::State& state)
{
    for (auto _ : state)
    {
        std::size_t characters = 0;
        Scan(
            kMessages, [&](std::string_view text) { characters += text.size(); },
            [&](int, std::string_view text) { characters += text.size(); });
        benchmark::DoNotOptimize(characters);
    }
}
BENCHMARK(SerialParseScan);
} // namespace
