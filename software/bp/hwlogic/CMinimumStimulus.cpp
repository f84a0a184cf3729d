// Nothing here depends on the fan that asks.
#include "software/bp/hwlogic/CMinimumStimulus.h"

#include <algorithm>

CMinimumStimulus::CMinimumStimulus(unsigned minimum)
    : CBaseStimulus("MinimumStimulus")
    , mMinimum(minimum)
{
}

double CMinimumStimulus::ApplyTransformation(double demand, std::uint16_t)
{
    return std::max(demand, mMinimum);
}
