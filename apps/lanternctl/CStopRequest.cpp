// signalfd, so that nothing runs inside a signal handler.
#include "apps/lanternctl/CStopRequest.h"

#include "software/utility/CException.h"

#include <csignal>
#include <pthread.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
constexpr std::uint64_t kSignals = 0; // tags; nobody asks which of the two it was
constexpr std::uint64_t kReaderGone = 1;

// A file or /dev/null has no reader that could go away, and cannot be waited for.
bool HasReader(int descriptor) noexcept
{
    struct stat status = {};
    return fstat(descriptor, &status) == 0 &&
           (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode) || isatty(descriptor) == 1);
}
} // namespace

CStopRequest::CStopRequest()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    mSignals.Reset(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!mSignals.IsOpen())
        throw CException(__func__, "apps/lanternctl/CStopRequest", __LINE__, true,
                         "Unable to wait for signals");
    mSources.Add(mSignals.Get(), kSignals);
    if (HasReader(STDOUT_FILENO))
    {
        mSources.Add(STDOUT_FILENO, kReaderGone);
        mSources.Watch(STDOUT_FILENO, kReaderGone, false, false); // only that the other end has gone
    }
}
