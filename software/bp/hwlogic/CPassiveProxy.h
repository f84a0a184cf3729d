// The hardware side of controls that have none.
#pragma once

#include "software/bp/serial/IControlProxy.h"

/// Takes every value: for controls that are kept and shown, and that nothing has to be told of.
class CPassiveProxy : public IControlProxy
{
public:
    bool ApplyValue(const std::string&, int) override { return true; }
    bool ApplyText(const std::string&, const std::string&) override { return true; }
};
