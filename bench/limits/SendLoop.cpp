// Limit of the fan-out rows: any message is one change, told to every other client by a plain loop of sends.
#include "bench/limits/CBareServer.h"
#include "bench/support/NLoopback.h"

#include <cstdio>
#include <exception>
#include <string>

int main(int argc, char** argv)
try
{
    if (argc != 3)
    {
        std::fprintf(stderr,
                     "usage: %s NOTIFICATION REPLY\n"
                     "On every message sends NOTIFICATION to all other clients, then REPLY to its sender;\n"
                     "prints its port.\n",
                     argv[0]);
        return 2;
    }
    NLoopback::RaiseDescriptorLimit();
    const std::string notification = std::string(argv[1]) + NLoopback::kMessageEnd;
    const std::string reply = std::string(argv[2]) + NLoopback::kMessageEnd;
    CBareServer server;
    std::printf("ready: port=%d\n", server.GetPort());
    std::fflush(stdout);
    server.Run(
        [&](int sender)
        {
            for (const int socket : server.GetSockets())
            {
                if (socket != sender)
                    NLoopback::SendAll(socket, notification);
            }
            NLoopback::SendAll(sender, reply);
        });
}
catch (const std::exception& error)
{
    std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
    return 1;
}
