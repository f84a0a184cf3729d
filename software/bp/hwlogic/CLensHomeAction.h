// The action that homes the lens.
#pragma once

#include "software/bp/serial/IControlProxy.h"

#include <string>
#include <vector>

class CEventDispatcher;
class ILensMotor;

/// Homes every axis; the controls of the axes then show 0, where the lens will stand. Dispatcher and motors
/// are not owned and must outlive it. Used from the loop's thread.
class CLensHomeAction : public IControlProxy
{
public:
    explicit CLensHomeAction(CEventDispatcher& dispatcher) noexcept
        : mDispatcher(dispatcher)
    {
    }

    /// @param code  control of the axis; one that does not exist is not followed
    void AddAxis(const std::string& code, ILensMotor& motor) { mAxes.push_back({code, &motor}); }

    bool ApplyValue(const std::string& code, int value) override; ///< false when a drive refused
    bool ApplyText(const std::string& code,
                   const std::string& text) override; ///< false: an action takes none

private:
    struct SAxis
    {
        std::string mCode;
        ILensMotor* mMotor;
    };

    CEventDispatcher& mDispatcher;
    std::vector<SAxis> mAxes;
};
