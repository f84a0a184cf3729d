// Limit of the request rows: answers every message with one text, a send each, and does nothing else.
#include "bench/limits/CBareServer.h"
#include "bench/support/NLoopback.h"

#include <cstdio>
#include <exception>
#include <string>

namespace
{
[[noreturn]] void Answer(CBareServer server, const std::string& reply)
{
    std::printf("ready: port=%d\n", server.GetPort());
    std::fflush(stdout);
    server.Run([&](int socket) { NLoopback::SendAll(socket, reply); });
}
} // namespace

int main(int argc, char** argv)
try
{
    if (argc != 2 && argc != 3)
    {
        std::fprintf(
            stderr,
            "usage: %s REPLY | SOCKET HEX\n"
            "Answers every message with REPLY and prints its port, or messages of the local IPC on a\n"
            "Unix socket with the bytes that HEX stands for.\n",
            argv[0]);
        return 2;
    }
    NLoopback::RaiseDescriptorLimit();
    if (argc == 2)
        Answer(CBareServer(), std::string(argv[1]) + NLoopback::kMessageEnd);
    else
        Answer(CBareServer(argv[1]), NLoopback::FromHex(argv[2]));
}
catch (const std::exception& error)
{
    std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
    return 1;
}
