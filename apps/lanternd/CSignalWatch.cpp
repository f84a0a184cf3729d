// signalfd: no handler runs in the middle of anything.
#include "apps/lanternd/CSignalWatch.h"

#include "software/utility/CException.h"
#include "software/utility/NPosix.h"

#include <csignal>
#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace
{
constexpr char kSource[] = "apps/lanternd/CSignalWatch";

sigset_t EndingSignals() noexcept
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    return signals;
}
} // namespace

CSignalWatch::CSignalWatch()
{
    const sigset_t signals = EndingSignals();
    mSignals.Reset(::signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC));
    if (!mSignals.IsOpen())
        throw CException(__func__, kSource, __LINE__, true, "Unable to watch for signals");
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr); // cannot fail with a valid first argument
}

int CSignalWatch::TakeSignal() noexcept
{
    signalfd_siginfo info{};
    const ssize_t count =
        NPosix::RetryOnInterrupt([&] { return ::read(mSignals.Get(), &info, sizeof info); });
    return count == static_cast<ssize_t>(sizeof info) ? static_cast<int>(info.ssi_signo) : 0;
}
