// The hardware side of this controller's three controls.
#pragma once

#include "software/bp/serial/IControlProxy.h"

#include <string>

/// What stands between the controls and the electronics: every change of a control ends up here, on the
/// loop's thread, before anybody hears of it. Put the register writes of your own board into it.
class CLampBoard : public IControlProxy
{
public:
    /// "LAM" switches the lamp, "CUR" sets its current in tenths of an ampere, "MOD" chooses its mode.
    /// @returns false to refuse: the control keeps its value and the caller is answered error 112
    bool ApplyValue(const std::string& code, int value) override;
    bool ApplyText(const std::string& code, const std::string& text) override; ///< refuses: there is no text

    bool IsLit() const noexcept { return mLit; }
    int GetCurrent() const noexcept { return mCurrent; } ///< tenths of an ampere, 0 while the lamp is off

private:
    bool mLit = false;
    int mCurrent = 0;
};
