// One straight line.
#include "software/bp/hwlogic/CLampPwrStimulus.h"

#include "software/utility/CException.h"

#include <algorithm>
#include <cmath>

namespace
{
constexpr char kSource[] = "software/bp/hwlogic/CLampPwrStimulus";
}

CLampPwrStimulus::CLampPwrStimulus(double nominalWatts, double leastFactor)
    : CBaseStimulus("LampPwrStimulus")
    , mNominal(nominalWatts)
    , mLeast(leastFactor)
{
    if (!(nominalWatts > 0.0) || !(leastFactor >= 0.0 && leastFactor <= 1.0))
        throw CException(__func__, kSource, __LINE__, false,
                         "Lamp power needs a nominal value above 0 and a factor of 0 to 1 (%g W, %g)",
                         nominalWatts, leastFactor);
}

void CLampPwrStimulus::SetPower(double watts)
{
    const double part = std::isfinite(watts) ? std::clamp(watts / mNominal, 0.0, 1.0) : 1.0;
    const double factor = mLeast + (1.0 - mLeast) * part;
    if (factor == mFactor)
        return;
    mFactor = factor;
    NotifyChange();
}

double CLampPwrStimulus::ApplyTransformation(double demand, std::uint16_t)
{
    return demand * mFactor;
}
