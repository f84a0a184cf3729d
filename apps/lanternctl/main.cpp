// lanternctl: controls a projector from the command line.
#include "apps/lanternctl/CProgram.h"
#include "apps/lanternctl/EExitCode.h"

#include <csignal>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <unistd.h>

namespace
{
// A standard descriptor that is closed would become the number of the socket, and what is printed would go to
// the projector.
void OpenStandardDescriptors()
{
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
    {
        if (fcntl(descriptor, F_GETFD) == -1 && open("/dev/null", O_RDWR) == -1)
            std::abort();
    }
}
} // namespace

int main(int argc, char** argv)
{
    OpenStandardDescriptors();
    std::signal(SIGPIPE, SIG_IGN); // a reader of ours that has gone shows as a failed write
    try
    {
        return CProgram(std::cout, std::cerr, isatty(STDOUT_FILENO) == 1).Run(argc, argv);
    }
    catch (const std::exception& error)
    {
        std::cerr << "lanternctl: " << error.what() << std::endl;
        return static_cast<int>(EExitCode::NoConnection); // the system would not let us
    }
}
