// Who speaks on a serial line, and what that caller registered.
#pragma once

#include "software/utility/CTimer.h"

#include <map>
#include <string>

class CEventLink;
class CIpcMessage;
class ILog;
class IMonotonicClock;

/// A caller has the default access group until a log-in gives it another. A log-in ends when no message has
/// come for too long; then, as after a weaker one, registrations on protected controls end too.
class CSerialSession
{
public:
    static constexpr int kDefaultAccessGroup = 1;
    static constexpr unsigned kLogInSeconds = 3600; ///< without a message, after which a log-in ends

    /// @param link   of the line; neither it nor clock and log are owned, all must outlive the session
    /// @param clock  wraps after more than `kLogInSeconds`
    /// @param line   name of the port, for the log
    CSerialSession(CEventLink& link, const IMonotonicClock& clock, std::string line, ILog& log);

    int GetAccessGroup() const noexcept { return mAccessGroup; }
    void LogIn(const std::string& user, int accessGroup);
    /// The access group of a caller that has not logged in.
    void SetDefaultAccessGroup(int group);
    void EndIfIdle();
    void KeepAlive(); ///< a message has come

    /// Keeps what the control process accepted, as the arguments of the line's message have it.
    void KeepRegistrations(const CIpcMessage& message);

private:
    void SetAccessGroup(int group);
    void RenewRegistrations();

    CEventLink& mLink;
    ILog& mLog;
    const std::string mLine;
    std::string mUser;
    int mAccessGroup = kDefaultAccessGroup;
    int mDefaultAccessGroup = kDefaultAccessGroup;
    CTimer mInactivity;
    std::map<std::string, int> mRegistered; // codes, and how often
};
