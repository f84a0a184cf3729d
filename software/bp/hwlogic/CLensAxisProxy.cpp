// The way from a control's value to a motor's target.
#include "software/bp/hwlogic/CLensAxisProxy.h"

#include "software/bp/hwlogic/ILensMotor.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"

#include <algorithm>

bool CLensAxisProxy::ApplyValue(const std::string& code, int value)
{
    const SLensTravel travel = mMotor.GetTravel();
    const int target = std::clamp(value, travel.mLowest, travel.mHighest);
    if (!mMotor.MoveTo(target))
        return false;

    if (target != value)
    {
        // Inside the change that called: who asked reads the reachable target in the reply already.
        if (CProjCon* control = mDispatcher.GetControl(code))
            control->SetValue(target, eChangeNoApply);
    }
    return true;
}

bool CLensAxisProxy::ApplyText(const std::string&, const std::string&)
{
    return false;
}
