// Load generator of the fan-out rows: makes one change after another and waits until every subscriber has it.
#include "bench/load/CLatencies.h"
#include "bench/support/NLoopback.h"
#include "software/utility/CException.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

namespace
{
using Clock = std::chrono::steady_clock;

constexpr char kSource[] = "bench/load/FanOutLoad";
constexpr unsigned kWarmUpChanges = 10;

struct SOptions
{
    std::uint16_t mPort = 0;
    std::string mSubscribe;            // empty: a connection is a subscription
    std::vector<std::string> mChanges; // used in turn, so that each is a change
    std::size_t mNotificationSize = 0; // bytes, with the end
    unsigned mSubscribers = 100;
    double mSeconds = 1.0;
    pid_t mServer = 0;
};

/// One thread. The time of a change runs from before its request is sent until the last subscriber has its
/// last byte. Reading costs about as much as sending, so the subscribers are not read while the server
/// sends: the one that subscribed last is waited for, then the clock is read, then the others are. One of
/// those that had to be waited for moves the end of the change, so the order of the sends does not matter.
class CFanOutLoad
{
public:
    explicit CFanOutLoad(const SOptions& options);
    void Run();
    void Print(); ///< the result as one line of JSON

private:
    void Change();
    std::size_t AwaitMessage(int socket);
    void AwaitNotification(int socket, std::size_t received);

    const SOptions mOptions;
    std::vector<char> mBuffer = std::vector<char>(4096);
    CDescriptor mSender;
    std::vector<CDescriptor> mSubscribers;
    std::size_t mNextChange = 0;

    CLatencies mTimes;
    std::chrono::nanoseconds mServerTime{0};
};

CFanOutLoad::CFanOutLoad(const SOptions& options)
    : mOptions(options)
    , mSender(NLoopback::Connect(options.mPort))
{
    // The last of the changes first, so that the first of them is one.
    NLoopback::SendAll(mSender.Get(), options.mChanges.back() + NLoopback::kMessageEnd);
    AwaitMessage(mSender.Get());
    for (unsigned i = 0; i < options.mSubscribers; ++i)
    {
        mSubscribers.push_back(NLoopback::Connect(options.mPort));
        if (options.mSubscribe.empty())
            continue;
        NLoopback::SendAll(mSubscribers.back().Get(), options.mSubscribe + NLoopback::kMessageEnd);
        AwaitMessage(mSubscribers.back().Get());
    }
}

void CFanOutLoad::Run()
{
    for (unsigned i = 0; i < kWarmUpChanges; ++i)
        Change();
    mTimes = CLatencies();
    const auto serverStart = NLoopback::GetCpuTime(mOptions.mServer);
    const auto end = Clock::now() + std::chrono::duration<double>(mOptions.mSeconds);
    while (Clock::now() < end)
        Change();
    mServerTime = NLoopback::GetCpuTime(mOptions.mServer) - serverStart;
}

void CFanOutLoad::Print()
{
    const auto changes = static_cast<double>(mTimes.GetCount());
    std::printf("{\"changes\": %zu, \"server_cpu_us\": %.3f, \"p50_us\": %.3f, \"p99_us\": %.3f}\n",
                mTimes.GetCount(), static_cast<double>(mServerTime.count()) / 1000.0 / changes,
                mTimes.GetQuantileUs(0.5), mTimes.GetQuantileUs(0.99));
}

void CFanOutLoad::Change()
{
    const std::string change =
        mOptions.mChanges[mNextChange++ % mOptions.mChanges.size()] + NLoopback::kMessageEnd;
    const auto start = Clock::now();
    NLoopback::SendAll(mSender.Get(), change);

    AwaitNotification(mSubscribers.back().Get(), 0);
    auto end = Clock::now();
    for (std::size_t i = 0; i + 1 < mSubscribers.size(); ++i)
    {
        const int socket = mSubscribers[i].Get();
        const std::size_t there = NLoopback::ReceiveIfThere(socket, mBuffer.data(), mBuffer.size());
        if (there == mOptions.mNotificationSize)
            continue;
        AwaitNotification(socket, there);
        end = Clock::now();
    }
    mTimes.Add(end - start);
    AwaitMessage(mSender.Get()); // the reply: not part of the time, the last byte left before it
}

/// Receives until a message has ended; what was received stays in the buffer. @returns its size
std::size_t CFanOutLoad::AwaitMessage(int socket)
{
    std::size_t size = 0;
    while (size == 0 || mBuffer[size - 1] != NLoopback::kMessageEnd)
    {
        if (size == mBuffer.size())
            throw CException(__func__, kSource, __LINE__, false, "A message is longer than %zu bytes", size);
        size += NLoopback::Receive(socket, mBuffer.data() + size, mBuffer.size() - size);
    }
    return size;
}

/// Receives what is missing of a notification of which some bytes have come.
void CFanOutLoad::AwaitNotification(int socket, std::size_t received)
{
    while (received < mOptions.mNotificationSize)
        received += NLoopback::Receive(socket, mBuffer.data(), mBuffer.size());
    if (received != mOptions.mNotificationSize)
        throw CException(__func__, kSource, __LINE__, false,
                         "%zu bytes were sent to a subscriber instead of %zu", received,
                         mOptions.mNotificationSize);
}
} // namespace

int main(int argc, char** argv)
try
{
    SOptions options;
    CLI::App app("Makes changes and measures until the last subscriber has each; prints one line of JSON.");
    app.add_option("--port", options.mPort, "port of the server on 127.0.0.1")->required();
    app.add_option("--subscribe", options.mSubscribe, "request that makes a connection a subscriber");
    app.add_option("--change", options.mChanges, "request that makes a change; several are used in turn")
        ->required();
    app.add_option("--notification-size", options.mNotificationSize,
                   "bytes that reach each subscriber, with NUL")
        ->required();
    app.add_option("--subscribers", options.mSubscribers)->check(CLI::Range(1, 60000));
    app.add_option("--seconds", options.mSeconds, "length of the measurement")->check(CLI::PositiveNumber);
    app.add_option("--server-pid", options.mServer, "process whose CPU time is divided by the changes");
    CLI11_PARSE(app, argc, argv);

    NLoopback::RaiseDescriptorLimit();
    CFanOutLoad load(options);
    load.Run();
    load.Print();
    return 0;
}
catch (const std::exception& error)
{
    std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
    return 1;
}
