// What the dispatcher asks of the local IPC server.
#pragma once

#include "software/bp/serial/ENotifyType.h"

#include <list>
#include <string>

class CProjCon;

class IIpcServer
{
public:
    virtual ~IIpcServer() = default;

    /// Serves what has arrived, without waiting.
    virtual void ProcessEvents() = 0;

    /// Sends one notification with the members that `type` selects to each recipient, without waiting.
    /// @param recipients  notification addresses, made for this change alone: the server may keep them
    virtual void MakeNotification(const CProjCon& control, ENotifyType type,
                                  std::list<std::string> recipients) = 0;
};
