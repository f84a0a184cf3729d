// The action that brings every setting back to its default.
#pragma once

#include "software/bp/serial/IControlProxy.h"

class CEventDispatcher;
class CProjCon;
class ILog;

/// Sets what a user may set to its default. Protected controls (access group 6) keep their values, and so do
/// read-only, reserved and locked ones. Dispatcher and log are not owned and must outlive it. Used from the
/// loop's thread.
class CResetAction : public IControlProxy
{
public:
    CResetAction(CEventDispatcher& dispatcher, ILog& log) noexcept
        : mDispatcher(dispatcher)
        , mLog(log)
    {
    }

    /// @returns false when a control could not be reset; all the others are then reset nevertheless
    bool ApplyValue(const std::string& code, int value) override;
    bool ApplyText(const std::string& code,
                   const std::string& text) override; ///< false: an action takes none

private:
    static bool Concerns(const CProjCon& control) noexcept;

    CEventDispatcher& mDispatcher;
    ILog& mLog;
};
