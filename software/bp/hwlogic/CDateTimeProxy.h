// Lets only dates and times of day into their controls.
#pragma once

#include "software/bp/serial/IControlProxy.h"

/// Refuses what is not a date, or not a time: the control itself looks at the length alone.
class CDateTimeProxy : public IControlProxy
{
public:
    enum class EKind
    {
        Date, ///< "2026-02-28"
        Time, ///< "03:00:00"
    };

    explicit CDateTimeProxy(EKind kind) noexcept
        : mKind(kind)
    {
    }

    bool ApplyValue(const std::string& code, int value) override; ///< false: neither is a number
    bool ApplyText(const std::string& code, const std::string& text) override;

private:
    const EKind mKind;
};
