// Limit of the request rows: answers every message with one text, a send each, and does nothing else.
#include "bench/limits/CBareServer.h"
#include "bench/support/NLoopback.h"

#include <cstdio>
#include <exception>
#include <string>

int main(int argc, char** argv)
try
{
    if (argc != 2)
    {
        std::fprintf(stderr, "usage: %s REPLY\nAnswers every message with REPLY and prints its port.\n",
                     argv[0]);
        return 2;
    }
    NLoopback::RaiseDescriptorLimit();
    const std::string reply = std::string(argv[1]) + NLoopback::kMessageEnd;
    CBareServer server;
    std::printf("ready: port=%d\n", server.GetPort());
    std::fflush(stdout);
    server.Run([&](int socket) { NLoopback::SendAll(socket, reply); });
}
catch (const std::exception& error)
{
    std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
    return 1;
}
