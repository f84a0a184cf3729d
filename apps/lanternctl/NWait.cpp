// One poll, and the sentences about what did not come.
#include "apps/lanternctl/NWait.h"

#include "apps/lanternctl/CCommandFailure.h"
#include "software/utility/CException.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <poll.h>

namespace
{
constexpr char kSource[] = "apps/lanternctl/NWait";

int MillisecondsUntil(const NWait::Deadline& deadline)
{
    if (!deadline)
        return -1; // poll's for ever
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(*deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, INT_MAX));
}
} // namespace

NWait::Deadline NWait::After(std::optional<std::chrono::milliseconds> timeout)
{
    if (!timeout)
        return std::nullopt;
    return std::chrono::steady_clock::now() + *timeout;
}

IProjectorLink::EWait NWait::ForInput(int descriptor, const Deadline& deadline, int interrupt, bool orOutput)
{
    using EWait = IProjectorLink::EWait;
    const auto events = static_cast<short>(orOutput ? POLLIN | POLLOUT : POLLIN);
    std::array<pollfd, 2> watched{{{descriptor, events, 0}, {interrupt, POLLIN, 0}}}; // -1 is left out
    while (!HasPassed(deadline))
    {
        const int ready = poll(watched.data(), watched.size(), MillisecondsUntil(deadline));
        if (ready > 0)
            return watched[1].revents != 0 ? EWait::Interrupted : EWait::Change;
        if (ready < 0 && errno != EINTR)
            throw CException(__func__, kSource, __LINE__, true, "Unable to wait");
    }
    return EWait::Elapsed;
}

void NWait::FailConnection(const std::string& sentence)
{
    throw CCommandFailure(EExitCode::NoConnection, sentence);
}

void NWait::FailNoConnection(const std::string& name, const std::string& reason)
{
    FailConnection("no connection to " + name + ": " + reason);
}

void NWait::FailNoAnswer(const std::string& name, std::chrono::milliseconds timeout)
{
    FailConnection("no answer from " + name + " within " + std::to_string(timeout.count()) + " ms");
}

void NWait::FailLost(const std::string& name)
{
    FailConnection("connection to " + name + " lost");
}
