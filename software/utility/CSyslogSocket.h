// The way to the system log.
#pragma once

#include "software/utility/CDescriptor.h"
#include "software/utility/CTimer.h"

#include <string>
#include <string_view>

class IMonotonicClock;

/// Sends lines to the log daemon of the system and never waits for it: one that is stopped, or slower than
/// what is logged, costs lines and nothing else. Connects when there is something to send, and after a
/// failure once a second at most, so that a daemon that was started again is found. Not thread-safe.
class CSyslogSocket
{
public:
    /// @param path   of the daemon's datagram socket, /dev/log as a rule
    /// @param ident  names the program in each line
    /// @param clock  not owned, must outlive the socket
    CSyslogSocket(std::string path, std::string ident, const IMonotonicClock& clock);

    /// @param severity  LOG_EMERG to LOG_DEBUG; the facility is LOG_DAEMON
    /// @throws CException "Unable to write to the system log at %s" with the system error: EAGAIN when the
    ///                    daemon does not keep up. The line is lost.
    void Write(int severity, std::string_view text);

private:
    bool Send(const std::string& line) noexcept;
    bool Connect() noexcept;

    const std::string mPath;
    const std::string mIdent;
    CDescriptor mSocket;
    CTimer mSinceTry; // to connect
    int mError = 0;   // why the last call failed
};
