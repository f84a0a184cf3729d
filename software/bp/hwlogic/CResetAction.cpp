// Goes through all controls in ascending order of code.
#include "software/bp/hwlogic/CResetAction.h"

#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"
#include "software/include/EError.h"
#include "software/include/ILog.h"

#include <string>
#include <vector>

bool CResetAction::Concerns(const CProjCon& control) noexcept
{
    return control.GetAccessGroup() != eAccessProtected && control.GetEnabled() &&
           control.GetFamily().mValueForm != EValueForm::Nothing; // actions, menus and custom entries
}

bool CResetAction::ApplyValue(const std::string&, int)
{
    // By code, since a change may make a subscriber add or remove controls during the walk.
    std::vector<std::string> codes;
    for (const auto& [code, control] : mDispatcher.GetControls())
        if (control != nullptr && Concerns(*control))
            codes.push_back(code);

    bool allReset = true;
    for (const std::string& code : codes)
    {
        CProjCon* control = mDispatcher.GetControl(code);
        if (control == nullptr)
            continue;
        const std::uint32_t result = control->GetFamily().mValueForm == EValueForm::Text
                                         ? control->SetText(control->GetDefaultText())
                                         : control->SetValue(control->GetDefaultValue());
        if (result == eErrorNone)
            continue;
        mLog.LogWarning("Reset: %s refused its default (error %u) and keeps its value", code.c_str(), result);
        allReset = false;
    }
    return allReset;
}

bool CResetAction::ApplyText(const std::string&, const std::string&)
{
    return false;
}
