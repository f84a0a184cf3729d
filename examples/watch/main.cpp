// A process beside the controller: it is told of every change of some controls, whoever makes it, and goes on
// by itself when the controller is started again. A panel, a logger or a gateway to another protocol is built
// like this.
//
//   watch [--run-dir DIR] CODE...     until SIGTERM or Ctrl-C, for example: watch LUM SRC KST+TLPX
//   watch --once ...                  ends when every control has shown its present state
#include "software/bp/serial/CEventLink.h"
#include "software/bp/serial/NErrorText.h"
#include "software/bp/serial/NIpcMsgUtil.h"
#include "software/bp/serial/NIpcSocket.h"
#include "software/utility/CIpcMessage.h"
#include "software/utility/CLogger.h"

#include <csignal>
#include <cstdio>
#include <exception>
#include <list>
#include <string>

#include <poll.h>
#include <unistd.h>

namespace
{
constexpr int kController = CEventLink::kNoAccessGroup; // we are part of the projector and may see everything
constexpr int kLookMs = 1000;                           // how long a stop may take at most
constexpr unsigned kRetrySeconds = 1;                   // between attempts while the controller is away

volatile std::sig_atomic_t gStop = 0;

void Stop(int)
{
    gStop = 1;
}

struct SWatchOptions
{
    std::string mRunDirectory = NIpcSocket::kRunDirectory;
    std::list<SControlSet> mControls;
    bool mOnce = false;
};

/// @returns false for wrong usage
bool Parse(int argc, char** argv, SWatchOptions& options)
{
    for (int i = 1; i < argc; ++i)
    {
        const std::string argument = argv[i];
        if (argument == "--once")
            options.mOnce = true;
        else if (argument == "--run-dir" && i + 1 < argc)
            options.mRunDirectory = argv[++i];
        else if (argument.empty() || argument.front() == '-')
            return false;
        else
            options.mControls.push_back({argument, true}); // true: its present state comes at once
    }
    return !options.mControls.empty();
}

/// A notification has the arguments of what changed, and the first one of all: look at each that you know.
void Print(const CIpcMessage& notification)
{
    std::printf("%s", NIpcMsgUtil::GetFullCode(notification).c_str());
    std::string text;
    if (notification.GetArg(0, text)) // a number as its digits; GetArg with an int takes it as a number
        std::printf(" is %s", text.c_str());
    int enabled = 0;
    if (notification.GetArg(eIpcArgEnabled, enabled))
        std::printf(enabled != 0 ? ", enabled" : ", disabled");
    int minimum = 0;
    int maximum = 0;
    if (notification.GetArg(eIpcArgMinimum, minimum) && notification.GetArg(eIpcArgMaximum, maximum))
        std::printf(", from %d to %d", minimum, maximum);
    std::printf("\n");
}

/// Collects and shows what has arrived. @returns how many notifications that was
std::size_t ShowNotifications(CEventLink& link)
{
    std::list<CIpcMessage> notifications;
    link.ProcessNotify(notifications);
    for (const CIpcMessage& notification : notifications)
        Print(notification);
    std::fflush(stdout);
    return notifications.size();
}

/// Registers, and tries again for as long as the controller is away.
/// @param again  whether that was done before, and was lost with the controller
/// @returns the error of a registration that will not succeed later either, else 0
EError Register(CEventLink& link, const std::list<SControlSet>& controls, bool again)
{
    while (gStop == 0)
    {
        const EError error = again ? link.NotifyRenew() : link.NotifyRegister(kController, controls);
        if (error != eErrorTimeout && error != eErrorCommunications)
            return error;
        ::sleep(kRetrySeconds); // a signal ends it early
    }
    return eErrorNone;
}

int Watch(CEventLink& link, const SWatchOptions& options)
{
    std::size_t shown = 0;
    bool wasRegistered = false;
    bool isRegistered = false;
    while (gStop == 0)
    {
        if (!isRegistered)
        {
            const EError error = Register(link, options.mControls, wasRegistered);
            if (error != eErrorNone)
            {
                std::fprintf(stderr, "watch: refused (%d): %s\n", static_cast<int>(error),
                             NErrorText::GetErrorString(error));
                return 1;
            }
            wasRegistered = true;
        }
        // A program with a loop of its own adds this descriptor to what it waits for.
        pollfd wait{link.GetNotifyDescriptor(), POLLIN, 0};
        ::poll(&wait, 1, kLookMs);
        shown += ShowNotifications(link);
        if (options.mOnce && shown >= options.mControls.size())
            return 0;
        // When the controller ends, its registrations end with it.
        isRegistered = !link.IsNotifyLost();
    }
    return 0;
}
} // namespace

int main(int argc, char** argv)
{
    SWatchOptions options;
    if (!Parse(argc, argv, options))
    {
        std::fprintf(stderr, "usage: watch [--run-dir DIR] [--once] CODE...\n");
        return 2;
    }
    std::signal(SIGINT, Stop);
    std::signal(SIGTERM, Stop);
    try
    {
        CLogger log("watch");
        log.EnableAntiSpam(1); // one line, however long the controller stays away
        CEventLink link(log, "watch", options.mRunDirectory); // its end unregisters
        return Watch(link, options);
    }
    catch (const std::exception& error) // a name of a socket that would be too long
    {
        std::fprintf(stderr, "watch: %s\n", error.what());
        return 1;
    }
}
