// The last gate in front of the loop: no sum of it ever holds what is not a number.
#include "software/bp/hwlogic/CClosedLoopStimulus.h"

#include <cmath>

namespace
{
constexpr double kShutOffLimit = 5.0;
constexpr double kErrorThreshold = 1.0;
constexpr double kMaxOutput = 1.0;
constexpr double kFullFactor = 1.0;
} // namespace

CClosedLoopStimulus::CClosedLoopStimulus(const NClosedLoopStimulus::SClosedLoopConfig& config,
                                         CClosedLoopFanControl& control, bool notifiesFans)
    : CBaseStimulus("ClosedLoopStimulus")
    , mControl(control)
    , mNotifiesFans(notifiesFans)
    , mIndex(static_cast<int>(config.mIndex))
{
    mControl.AddClosedLoopControl(mIndex, config.mTarget, config.mP, config.mI, config.mD,
                                  config.mMinimumCorrection, kShutOffLimit, kErrorThreshold, kMaxOutput,
                                  false);
}

void CClosedLoopStimulus::Update(double measurement, double newTarget)
{
    const double factor = NextFactor(measurement, newTarget);
    if (factor == mFactor)
        return;
    mFactor = factor;
    if (mNotifiesFans)
        NotifyChange();
}

double CClosedLoopStimulus::NextFactor(double measurement, double newTarget)
{
    if (std::isfinite(measurement) && std::isfinite(newTarget))
    {
        mIsRunning = true;
        const bool isMoved = mRelation == NClosedLoopStimulus::eTargetBelowDriveLimit &&
                             newTarget != CClosedLoopFanControl::kKeepTarget;
        return mControl.CalculateCorrectionFactor(mIndex, measurement,
                                                  isMoved ? newTarget - mPhotonDriveMargin : newTarget);
    }
    if (mIsRunning)
        mControl.ClearClosedControlParameters(mIndex);
    mIsRunning = false;
    return kFullFactor;
}

double CClosedLoopStimulus::ApplyTransformation(double demand, std::uint16_t)
{
    return demand * mFactor;
}
