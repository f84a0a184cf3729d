// Hardware that takes everything, so that a benchmark of controls measures the controls.
#pragma once

#include "software/bp/serial/IControlProxy.h"

/// Its operations stay in their own source file: the compiler must not see through the virtual call.
class CAcceptingProxy : public IControlProxy
{
public:
    bool ApplyValue(const std::string& code, int value) override;
    bool ApplyText(const std::string& code, const std::string& text) override;
};
