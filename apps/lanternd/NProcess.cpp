// The system calls behind it. None of them is worth refusing to start for.
#include "apps/lanternd/NProcess.h"

#include <csignal>

#include <sys/prctl.h>
#include <sys/resource.h>

std::size_t NProcess::RaiseDescriptorLimit() noexcept
{
    constexpr std::size_t kLeast = 256; // assumed where the system does not tell
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return kLeast;
    const rlim_t before = limit.rlim_cur;
    limit.rlim_cur = limit.rlim_max;
    if (::setrlimit(RLIMIT_NOFILE, &limit) != 0)
        limit.rlim_cur = before;
    return static_cast<std::size_t>(limit.rlim_cur);
}

void NProcess::SetFinestTimerSlack() noexcept
{
    constexpr unsigned long kSlackNs = 1;
    ::prctl(PR_SET_TIMERSLACK, kSlackNs, 0UL, 0UL, 0UL);
}

void NProcess::IgnoreSigPipe() noexcept
{
    std::signal(SIGPIPE, SIG_IGN);
}
