// Homes all axes, also when one of them refuses.
#include "software/bp/hwlogic/CLensHomeAction.h"

#include "software/bp/hwlogic/ILensMotor.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"

bool CLensHomeAction::ApplyValue(const std::string&, int)
{
    bool allTook = true;
    for (const SAxis& axis : mAxes)
    {
        if (!axis.mMotor->Home())
        {
            allTook = false;
            continue;
        }
        CProjCon* control = mDispatcher.GetControl(axis.mCode);
        if (control != nullptr && control->GetValue() != 0)
            control->SetValue(0, eChangeNoApply);
    }
    return allTook;
}

bool CLensHomeAction::ApplyText(const std::string&, const std::string&)
{
    return false;
}
