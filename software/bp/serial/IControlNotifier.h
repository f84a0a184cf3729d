// How the dispatcher tells the network clients of a change.
#pragma once

#include "software/bp/serial/ENotifyType.h"

#include <list>
#include <string>

class CProjCon;

class IControlNotifier
{
public:
    virtual ~IControlNotifier() = default;

    /// Sends one notification with the members that `type` selects to each recipient, before it returns.
    /// @param recipients  client descriptors, made for this change alone: the notifier may keep them
    virtual void MakeNotification(const CProjCon& control, ENotifyType type,
                                  std::list<std::string> recipients) = 0;
};
