// The control process on this machine.
#pragma once

#include "apps/lanternctl/CMessageLink.h"
#include "software/utility/CSilentLog.h"

#include <chrono>
#include <memory>
#include <string>

class CEventLink;

/// The local IPC. It gives no access level, so it counts as the controller itself: whoever may open the
/// sockets may use every control.
class CIpcLink : public CMessageLink
{
public:
    /// Finds out whether somebody serves this run directory.
    /// @param runDirectory  where the sockets are
    /// @param timeout       longest wait for each reply, above 0
    /// @throws CCommandFailure  no connection; wrong usage for a name that is too long for a socket
    CIpcLink(const std::string& runDirectory, std::chrono::milliseconds timeout);
    ~CIpcLink() override; ///< ends its registrations

    void Watch(const std::vector<std::string>& codes) override;

private:
    Refusal Request(CIpcMessage& request, std::list<CIpcMessage>& replies) override;
    Refusal Command(CIpcMessage& command, CIpcMessage& reply) override;
    EWait Receive(const NWait::Deadline& deadline, int interrupt) override;

    void CheckConnection() const;
    Refusal Judge(EError error, const CIpcMessage* answer) const;

    const std::string mName; // of the control process's socket
    const std::chrono::milliseconds mTimeout;
    CSilentLog mLog;
    std::unique_ptr<CEventLink> mLink;
};
