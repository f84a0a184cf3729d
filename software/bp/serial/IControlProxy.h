// The hardware side of a control.
#pragma once

#include <string>

/// Applies a value to the hardware. It is called from within a change, on the loop's thread, and must not
/// block.
class IControlProxy
{
public:
    virtual ~IControlProxy() = default;

    /// @param code  code of the control, so that one proxy can serve several
    /// @returns false when the hardware refused; the control then keeps what it had
    virtual bool ApplyValue(const std::string& code, int value) = 0;
    virtual bool ApplyText(const std::string& code, const std::string& text) = 0;
};
