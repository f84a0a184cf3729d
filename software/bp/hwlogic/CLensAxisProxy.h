// Binds the control of a lens axis to its motor.
#pragma once

#include "software/bp/serial/IControlProxy.h"

class CEventDispatcher;
class ILensMotor;

/// Sends the axis to the control's value. A target beyond the travel becomes the end of the travel, and the
/// control then shows that. Dispatcher and motor are not owned and must outlive it. Used from the loop's
/// thread.
class CLensAxisProxy : public IControlProxy
{
public:
    CLensAxisProxy(CEventDispatcher& dispatcher, ILensMotor& motor) noexcept
        : mDispatcher(dispatcher)
        , mMotor(motor)
    {
    }

    bool ApplyValue(const std::string& code, int value) override; ///< false when the drive refused
    bool ApplyText(const std::string& code, const std::string& text) override; ///< false: an axis takes none

private:
    CEventDispatcher& mDispatcher;
    ILensMotor& mMotor;
};
