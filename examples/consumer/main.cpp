// A small controller: three controls in front of one board, served to the network by JSON-RPC.
//
//   consumer [PORT]     serves until SIGTERM or Ctrl-C; without a port on a free one. From another terminal:
//                           lanternctl --port PORT list
//                           lanternctl --port PORT set CUR 12.5
//   consumer --once     serves itself as its first client, checks what comes back, and ends
#include "CLampBoard.h"

#include "software/bp/c4j/CC4jControl.h"
#include "software/bp/c4j/CJsonRpcServer.h"
#include "software/bp/c4j/CJsonRpcTcpClient.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"
#include "software/bp/serial/SListEntry.h"
#include "software/utility/CLogger.h"
#include "software/utility/CMonotonicClockHighResPosix.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <exception>
#include <string>

namespace
{
constexpr char kLoopback[] = "127.0.0.1";
constexpr int kNoText =
    0; // names and help are ids, to which a CTextCatalog lent to the dispatcher has the words
constexpr int kMaxPasses = 1000; // of the loop, each at most 10 ms: how long --once waits for an answer

volatile std::sig_atomic_t gStop = 0;

void Stop(int)
{
    gStop = 1;
}

/// The controls register themselves with the dispatcher by their codes; it and the board outlive them.
struct SControls
{
    SControls(CEventDispatcher& dispatcher, CLampBoard& board)
        : mLamp(eDisplayBoolean, dispatcher, board, "LAM", false, false, eAccessOperator, kNoText, kNoText,
                false)
        // 5.0 to 20.0 A, at first 10.0: a value is a whole number, of which one digit stands behind the
        // point.
        , mCurrent(eDisplayInteger, dispatcher, board, "CUR", true, 50, 200, 100, eAccessOperator, kNoText,
                   kNoText, 1, false)
        , mMode(eDisplayList, dispatcher, board, "MOD", true, 0, eAccessOperator, kNoText, kNoText, false)
    {
        mCurrent.SetUnit("A");
        SListEntry normal;
        normal.mText = "Normal";
        SListEntry boost;
        boost.mValue = 1;
        boost.mText = "Boost";
        mMode.AddList({normal, boost});
        // The board hears of the defaults (or of what was saved, once that is set) before any client
        // connects.
        for (CProjCon* control : {&mLamp, &mCurrent, &mMode})
            control->UpdateHardware();
    }

    CProjCon mLamp;
    CProjCon mCurrent;
    CProjCon mMode;
};

/// Asks this controller over the network, as any client does, and pumps the loop until the answer is there.
std::string Ask(CJsonRpcServer& server, CJsonRpcTcpClient& client, const std::string& request)
{
    client.Send(request);
    std::deque<std::string> answers;
    for (int pass = 0; pass < kMaxPasses && answers.empty(); ++pass)
    {
        server.ProcessMessages();
        client.Recv(answers, false);
    }
    std::string answer = answers.empty() ? "(no answer)" : answers.front();
    std::printf("> %s\n< %s\n", request.c_str(), answer.c_str());
    return answer;
}

/// A client sets the current and tries the mode of a burning lamp. @returns whether all came out as it should
bool ServeOnce(CJsonRpcServer& server, CLampBoard& board)
{
    CJsonRpcTcpClient client(kLoopback, server.GetPort());
    if (!client.Connect())
        return false;
    const auto answered = [&](const std::string& request, const char* part)
    { return Ask(server, client, request).find(part) != std::string::npos; };

    return answered(R"({"jsonrpc":"2.0","id":1,"method":"control:set","params":["CUR",125]})",
                    R"("value":125)") &&
           answered(R"({"jsonrpc":"2.0","id":2,"method":"control:set","params":["LAM",true]})",
                    R"("value":true)") &&
           answered(R"({"jsonrpc":"2.0","id":3,"method":"control:set","params":["MOD",1]})",
                    R"("code":112)") &&
           board.IsLit() && board.GetCurrent() == 125;
}

int Run(int argc, char** argv)
{
    const std::string argument = argc > 1 ? argv[1] : "";
    const bool once = argument == "--once";
    const int port = once ? 0 : std::atoi(argument.c_str());
    if (argc > 2 || port < 0 || port > 65535)
    {
        std::fprintf(stderr, "usage: consumer [PORT | --once]\n");
        return 2;
    }

    CLogger log("consumer");
    const CMonotonicClockHighResPosix clock;
    CEventDispatcher dispatcher(log);
    CLampBoard board;
    const SControls controls(dispatcher, board);

    CJsonRpcServer server(dispatcher, kLoopback, static_cast<unsigned short>(port), clock, log);
    const CC4jControl front(server); // the methods "control:get", "control:set" and so on
    if (once)
        return ServeOnce(server, board) ? 0 : 1;

    std::signal(SIGINT, Stop);
    std::signal(SIGTERM, Stop);
    std::printf("consumer ready: json-rpc=%d\n", server.GetPort());
    std::fflush(stdout);
    while (gStop == 0)
    {
        dispatcher.Update();      // the local IPC, where a controller has one
        server.ProcessMessages(); // waits 10 ms for clients at most, so this loop takes no core
    }
    return 0;
}
} // namespace

int main(int argc, char** argv)
{
    try
    {
        return Run(argc, argv);
    }
    catch (const std::exception& error) // a port that is taken, for example
    {
        std::fprintf(stderr, "consumer: %s\n", error.what());
        return 1;
    }
}
