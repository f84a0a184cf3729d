// A floor under the demand, which comes down with time.
#include "software/bp/hwlogic/CTempWarningRecoveryStimulus.h"

#include "software/utility/CException.h"

#include <algorithm>

namespace
{
constexpr char kSource[] = "software/bp/hwlogic/CTempWarningRecoveryStimulus";
constexpr double kFullDemand = 100.0; // percent
} // namespace

CTempWarningRecoveryStimulus::CTempWarningRecoveryStimulus(unsigned holdSamples, double stepPercent)
    : CBaseStimulus("TempWarningRecoveryStimulus")
    , mHoldSamples(holdSamples)
    , mStep(stepPercent)
{
    if (!(stepPercent > 0.0))
        throw CException(__func__, kSource, __LINE__, false,
                         "Recovery from a temperature warning needs a step above 0 (%g)", stepPercent);
}

void CTempWarningRecoveryStimulus::Update(bool warning)
{
    const double before = mFloor;
    if (warning)
    {
        mFloor = kFullDemand;
        mHeld = 0;
    }
    else if (mFloor > 0.0 && mHeld < mHoldSamples)
        ++mHeld;
    else
        mFloor = std::max(0.0, mFloor - mStep);
    if (mFloor != before)
        NotifyChange();
}

double CTempWarningRecoveryStimulus::ApplyTransformation(double demand, std::uint16_t)
{
    return std::max(demand, mFloor);
}
