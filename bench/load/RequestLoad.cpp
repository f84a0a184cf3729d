// Load generator of the request rows: keeps a number of requests in flight on each of its connections.
#include "bench/load/CLatencies.h"
#include "bench/support/CFrameCounter.h"
#include "bench/support/NLoopback.h"
#include "software/utility/CException.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <exception>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <sys/epoll.h>

namespace
{
using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr char kSource[] = "bench/load/RequestLoad";
constexpr int kEventsAtOnce = 1024;
constexpr int kWaitMs = 100; // for a reply, before the time is looked at
constexpr std::size_t kReadSize = 65536;
constexpr double kWarmUp = 0.25; // of the measured time, before it: caches, branches, the sockets' windows

struct SOptions
{
    std::uint16_t mPort = 0;
    std::string mSocket;  // Unix socket, in the port's place
    std::string mRequest; // with its end
    unsigned mClients = 1;
    unsigned mInFlight = 1; // per client
    bool mSpin = false;     // see the option
    unsigned mIdle = 0;     // connections that stay silent beside the clients
    double mSeconds = 1.0;
    pid_t mServer = 0; // whose CPU time is read; 0: nobody's
};

/// One connection. Replies come in the order of the requests, so a ring of sending times is all it keeps.
struct SConnection
{
    CDescriptor mSocket;
    CFrameCounter mReplies{EFraming::Nul};
    CLatencies mLatencies; // in progress
    CLatencies mMeasured;
    std::vector<Clock::time_point> mSentAt;
    std::size_t mNextSent = 0;
    std::size_t mNextReply = 0;
};

/// One thread and a closed loop: a reply read is a request sent, those of one read joined into one send.
class CRequestLoad
{
public:
    explicit CRequestLoad(const SOptions& options);
    void Run();
    void Print(); ///< the result as one line of JSON

private:
    void Open(SConnection& connection);
    void Send(SConnection& connection, std::size_t count);
    void Serve(SConnection& connection);
    void Pump();
    void PumpUntil(Clock::time_point end);
    void PumpUntilAnswered();

    const SOptions mOptions;
    std::string mBurst; // as many requests as a client may have in flight, to be cut from
    std::vector<char> mBuffer = std::vector<char>(kReadSize);
    CDescriptor mEpoll;
    std::vector<SConnection> mClients;
    std::vector<SConnection> mIdle;
    bool mRefilling = false; // whether a reply read is a request sent
    std::size_t mPending = 0;
    std::size_t mReplyBytes = 0;
    std::size_t mMeasuredBytes = 0;
    double mSeconds = 0.0;
    std::chrono::nanoseconds mServerTime{0};
};

CRequestLoad::CRequestLoad(const SOptions& options)
    : mOptions(options)
    , mEpoll(epoll_create1(EPOLL_CLOEXEC))
    , mClients(options.mClients)
    , mIdle(options.mIdle)
{
    if (!mEpoll.IsOpen())
        throw CException(__func__, kSource, __LINE__, true, "Unable to make an epoll");
    for (unsigned i = 0; i < options.mInFlight; ++i)
        mBurst.append(options.mRequest);
    // Half of the idle ones before the clients, half behind: no place in the server's list is favoured.
    const auto half = mIdle.begin() + static_cast<std::ptrdiff_t>(mIdle.size() / 2);
    const auto open = [this](SConnection& connection) { Open(connection); };
    std::for_each(mIdle.begin(), half, open);
    std::for_each(mClients.begin(), mClients.end(), open);
    std::for_each(half, mIdle.end(), open);
}

/// Connects and waits for one reply, so that the server has accepted before anything is measured.
void CRequestLoad::Open(SConnection& connection)
{
    const bool isUnix = !mOptions.mSocket.empty();
    connection.mSocket = isUnix ? NLoopback::Connect(mOptions.mSocket) : NLoopback::Connect(mOptions.mPort);
    connection.mReplies = CFrameCounter(isUnix ? EFraming::Length : EFraming::Nul);
    connection.mSentAt.resize(mOptions.mInFlight);
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.ptr = &connection;
    if (epoll_ctl(mEpoll.Get(), EPOLL_CTL_ADD, connection.mSocket.Get(), &event) != 0)
        throw CException(__func__, kSource, __LINE__, true, "Unable to watch a socket");
    Send(connection, 1);
    PumpUntilAnswered();
}

void CRequestLoad::Run()
{
    mRefilling = true;
    for (SConnection& connection : mClients)
        Send(connection, mOptions.mInFlight);
    PumpUntil(Clock::now() +
              std::chrono::duration_cast<Clock::duration>(Seconds(mOptions.mSeconds * kWarmUp)));

    for (SConnection& connection : mClients)
        connection.mLatencies = CLatencies();
    mReplyBytes = 0;
    const auto serverStart = NLoopback::GetCpuTime(mOptions.mServer);
    const auto start = Clock::now();
    PumpUntil(start + std::chrono::duration_cast<Clock::duration>(Seconds(mOptions.mSeconds)));
    mServerTime = NLoopback::GetCpuTime(mOptions.mServer) - serverStart;
    mSeconds = Seconds(Clock::now() - start).count();
    mMeasuredBytes = mReplyBytes;
    for (SConnection& connection : mClients)
        connection.mMeasured = std::exchange(connection.mLatencies, CLatencies());

    mRefilling = false;
    PumpUntilAnswered(); // an unread reply would make the close a reset
}

void CRequestLoad::Print()
{
    CLatencies all;
    double best = HUGE_VAL;
    double worst = 0.0;
    for (SConnection& connection : mClients)
    {
        all.Add(connection.mMeasured);
        const double median = connection.mMeasured.GetQuantileUs(0.5);
        best = std::min(best, median);
        worst = connection.mMeasured.GetCount() == 0 ? HUGE_VAL : std::max(worst, median);
    }
    const auto replies = all.GetCount();
    if (replies == 0)
        throw CException(__func__, kSource, __LINE__, false, "No request was answered in %g s", mSeconds);
    const auto perReply = [&](auto total)
    { return static_cast<double>(total) / static_cast<double>(replies); };
    std::printf(
        "{\"requests\": %zu, \"seconds\": %.3f, \"reply_bytes\": %g, \"server_cpu_us\": %.4f, "
        "\"p50_us\": %.3f, \"p99_us\": %.3f, \"best_client_p50_us\": %.3f, \"worst_client_p50_us\": %.3f}\n",
        replies, mSeconds, perReply(mMeasuredBytes), perReply(mServerTime.count()) / 1000.0,
        all.GetQuantileUs(0.5), all.GetQuantileUs(0.99), best, worst);
}

void CRequestLoad::Send(SConnection& connection, std::size_t count)
{
    const auto now = Clock::now();
    for (std::size_t i = 0; i < count; ++i)
        connection.mSentAt[connection.mNextSent++ % mOptions.mInFlight] = now;
    mPending += count;
    NLoopback::SendAll(connection.mSocket.Get(),
                       std::string_view(mBurst).substr(0, count * mOptions.mRequest.size()));
}

void CRequestLoad::Serve(SConnection& connection)
{
    const std::size_t size = NLoopback::Receive(connection.mSocket.Get(), mBuffer.data(), mBuffer.size());
    const auto now = Clock::now();
    const std::size_t replies = connection.mReplies.Count(mBuffer.data(), size);
    if (replies > connection.mNextSent - connection.mNextReply)
        throw CException(__func__, kSource, __LINE__, false, "The server sent a reply that nobody asked for");
    mReplyBytes += size;
    for (std::size_t i = 0; i < replies; ++i)
        connection.mLatencies.Add(now - connection.mSentAt[connection.mNextReply++ % mOptions.mInFlight]);
    mPending -= replies;
    if (mRefilling && replies != 0)
        Send(connection, replies);
}

void CRequestLoad::Pump()
{
    epoll_event events[kEventsAtOnce];
    const int count = epoll_wait(mEpoll.Get(), events, kEventsAtOnce, mOptions.mSpin ? 0 : kWaitMs);
    if (count < 0 && errno != EINTR)
        throw CException(__func__, kSource, __LINE__, true, "Unable to wait");
    for (int i = 0; i < count; ++i)
        Serve(*static_cast<SConnection*>(events[i].data.ptr));
}

void CRequestLoad::PumpUntil(Clock::time_point end)
{
    while (Clock::now() < end)
        Pump();
}

void CRequestLoad::PumpUntilAnswered()
{
    const auto stalled = Clock::now() + std::chrono::seconds(NLoopback::kStalledSeconds);
    while (mPending != 0)
    {
        if (Clock::now() > stalled)
            throw CException(__func__, kSource, __LINE__, false, "The server has stopped answering");
        Pump();
    }
}
} // namespace

int main(int argc, char** argv)
try
{
    SOptions options;
    CLI::App app("Keeps requests in flight on many connections; prints what it cost as one line of JSON.");
    auto* const where = app.add_option_group("server")->require_option(1);
    where->add_option("--port", options.mPort, "port of the server on 127.0.0.1");
    where->add_option("--socket", options.mSocket,
                      "Unix socket of the server: replies have their length at 22");
    auto* const what = app.add_option_group("request")->require_option(1);
    const std::function<void(const std::string&)> takeText = [&](const std::string& text)
    { options.mRequest = text + NLoopback::kMessageEnd; };
    const std::function<void(const std::string&)> takeHex = [&](const std::string& hex)
    { options.mRequest = NLoopback::FromHex(hex); };
    what->add_option_function("--request", takeText, "the request, sent with a NUL behind it");
    what->add_option_function("--request-hex", takeHex, "the bytes of the request");
    app.add_option("--clients", options.mClients, "connections that send requests")
        ->check(CLI::Range(1, 60000));
    app.add_option("--in-flight", options.mInFlight, "requests in flight per client")
        ->check(CLI::Range(1, 1000));
    app.add_flag("--spin", options.mSpin, "never sleep, so that no reply has to wake this program");
    app.add_option("--idle", options.mIdle, "connections that stay silent")->check(CLI::Range(0, 60000));
    app.add_option("--seconds", options.mSeconds, "length of the measurement")->check(CLI::PositiveNumber);
    app.add_option("--server-pid", options.mServer, "process whose CPU time is divided by the requests");
    CLI11_PARSE(app, argc, argv);

    NLoopback::RaiseDescriptorLimit();
    CRequestLoad load(options);
    load.Run();
    load.Print();
    return 0;
}
catch (const std::exception& error)
{
    std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
    return 1;
}
