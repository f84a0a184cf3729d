// Registrations for notifications that come as messages.
#pragma once

#include "software/include/EError.h"

#include <list>
#include <string>

class CEventDispatcher;
class CIpcMessage;
class CIpcNotifier;
class IIpcServer;
class ILog;

/// What became of a registration message.
struct SIpcRegistration
{
    EError mError = eErrorNone;
    std::string mText; ///< of a refusal; starts with "Notification System Error: "
};

/// Carries out registration messages, whether they came over a socket or from inside this process.
class CIpcRegistrar
{
public:
    /// All are not owned and must outlive it.
    /// @param serverName  socket of the control process: notification sockets are in the same folder
    /// @param server      sends the state of a control to whoever asked for it
    CIpcRegistrar(CEventDispatcher& dispatcher, CIpcNotifier& notifier, IIpcServer& server,
                  const std::string& serverName, ILog& log);

    /// Registers or unregisters argument 0, a notification address, on the codes in the arguments behind it:
    /// on all of them, or on none when one is refused. Protected controls are left out for a caller without
    /// the level. Refusals: 5 "Needs at least 2 arguments (%d)", 3 "Invalid (non-text) argument %s",
    /// 3 "Invalid address %s", 9 "Unsupported modifier", 101 "%s NOT FOUND!", 111 "Unable to send ...".
    SIpcRegistration Process(const CIpcMessage& message);

private:
    struct SRegistration
    {
        std::string mCode;
        unsigned char mModifier;
    };

    SIpcRegistration CheckAddress(const CIpcMessage& message, std::string& address) const;
    SIpcRegistration ReadRegistrations(const CIpcMessage& message, std::list<SRegistration>& registrations);
    SIpcRegistration CheckRegistration(SRegistration& registration) const;
    void Register(const std::string& address, const std::list<SRegistration>& registrations);

    CEventDispatcher& mDispatcher;
    CIpcNotifier& mNotifier;
    IIpcServer& mServer;
    const std::string mServerName;
    ILog& mLog;
};
