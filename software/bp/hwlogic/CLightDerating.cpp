// Two thresholds and a step at a time, so that the light neither flickers nor oscillates with the heat.
#include "software/bp/hwlogic/CLightDerating.h"

#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"
#include "software/include/ILog.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace
{
int PartOfRange(const CProjCon& control, double fraction)
{
    const double range = static_cast<double>(control.GetMaxValue()) - control.GetMinValue();
    return static_cast<int>(std::lround(range * fraction));
}

void SetSoftMaximum(CProjCon& light, int softMaximum)
{
    const bool isLimited = softMaximum < light.GetMaxValue();
    // Heat does not ask whether the control is locked, so the change must reach a disabled one as well.
    light.SetSoftRange(light.GetSoftMinValue(), light.IsSoftMinActive(), softMaximum, isLimited,
                       eChangeHardware);
}
} // namespace

CLightDerating::CLightDerating(CEventDispatcher& dispatcher, const std::string& code,
                               std::function<double()> measure, ILog& log)
    : mDispatcher(dispatcher)
    , mCode(code)
    , mMeasure(std::move(measure))
    , mLog(log)
{
}

void CLightDerating::Advance(std::chrono::milliseconds elapsed)
{
    mSinceStep = std::min(mSinceStep + elapsed, kStepPeriod);
    CProjCon* light = mDispatcher.GetControl(mCode);
    if (light == nullptr || mSinceStep < kStepPeriod)
        return;

    const double temperature = mMeasure(); // of what is not a number neither comparison below holds
    const int step = std::max(1, PartOfRange(*light, kStepFraction));
    const int ceiling = mDerated ? light->GetSoftMaxValue() : light->GetMaxValue();
    const int least = light->GetMinValue() + PartOfRange(*light, kLeastFraction);
    if (temperature > kLimit && ceiling > least)
        Lower(*light, std::max(ceiling - step, least), temperature);
    else if (temperature < kRelease && mDerated)
        Raise(*light, std::min(ceiling + step, light->GetMaxValue()));
}

int CLightDerating::GetWanted(const CProjCon& light) const noexcept
{
    return IsHeldDown(light) ? mWanted : light.GetValue();
}

bool CLightDerating::IsHeldDown(const CProjCon& light) const noexcept
{
    return mDerated && light.GetValue() == light.GetSoftMaxValue() && mWanted > light.GetValue();
}

void CLightDerating::Lower(CProjCon& light, int softMaximum, double celsius)
{
    if (!mDerated || light.GetValue() != light.GetSoftMaxValue())
        mWanted = light.GetValue(); // not what an earlier step left, but what somebody chose
    if (!mDerated)
        mLog.LogWarning("%s: die at %.1f degrees C, above %.1f; light output is being limited", mCode.c_str(),
                        celsius, kLimit);
    mDerated = true;
    mSinceStep = std::chrono::milliseconds(0);
    SetSoftMaximum(light, softMaximum);
}

void CLightDerating::Raise(CProjCon& light, int softMaximum)
{
    const bool stillHeldDown = IsHeldDown(light);
    mDerated = softMaximum < light.GetMaxValue();
    mSinceStep = std::chrono::milliseconds(0);
    SetSoftMaximum(light, softMaximum);
    if (stillHeldDown)
        light.SetValue(std::min(mWanted, softMaximum), eChangeHardware);
    else
        mWanted = light.GetValue(); // somebody chose another output meanwhile
    if (!mDerated)
        mLog.LogFYI(eFyiThermal, "%s: die below %.1f degrees C again; light output is no longer limited",
                    mCode.c_str(), kRelease);
}
