// Each limit is judged by itself; the worse one counts.
#include "software/bp/status/CLimitWatch.h"

#include "software/utility/CException.h"

#include <algorithm>
#include <cmath>

namespace
{
constexpr char kSource[] = "software/bp/status/CLimitWatch";
}

CLimitWatch::CLimitWatch(const SLimits& limits)
    : mLimits(limits)
{
    // Written so that NaN is refused too.
    if (!(limits.mWarning <= limits.mAlarm && limits.mDeadBand >= 0.0))
        throw CException(__func__, kSource, __LINE__, false,
                         "Limits of a status are out of order (%g, %g, dead band %g)", limits.mWarning,
                         limits.mAlarm, limits.mDeadBand);
}

EStatusLevel CLimitWatch::Update(double reading, std::chrono::milliseconds elapsed)
{
    if (std::isnan(reading))
        return mStatus = eStatusAlarm;
    const std::array<double, kLimits> limits{mLimits.mWarning, mLimits.mAlarm};
    constexpr std::array<EStatusLevel, kLimits> kLevels{eStatusWarning, eStatusAlarm};
    EStatusLevel status = eStatusOk;
    for (std::size_t i = 0; i < kLimits; ++i)
    {
        const bool isAbove = reading > limits[i];
        mAbove[i] = isAbove ? std::min(mAbove[i] + elapsed, mLimits.mHold) : std::chrono::milliseconds(0);
        const bool isRaised = isAbove && mAbove[i] >= mLimits.mHold;
        const bool isHeld = mStatus >= kLevels[i] && reading >= limits[i] - mLimits.mDeadBand;
        if (isRaised || isHeld)
            status = kLevels[i];
    }
    return mStatus = status;
}
