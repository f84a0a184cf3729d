// One straight line, its ends held.
#include "software/bp/hwlogic/CLaserTecStimulus.h"

#include "software/utility/CException.h"

#include <algorithm>
#include <cmath>

namespace
{
constexpr char kSource[] = "software/bp/hwlogic/CLaserTecStimulus";
constexpr double kFullDemand = 100.0; // percent
} // namespace

CLaserTecStimulus::CLaserTecStimulus(double start, double full)
    : CBaseStimulus("LaserTecStimulus")
    , mStart(start)
    , mFull(full)
{
    if (!(full > start) || !std::isfinite(full - start))
        throw CException(__func__, kSource, __LINE__, false,
                         "A laser cooler needs a full temperature above its start (%g, %g degrees C)", start,
                         full);
}

void CLaserTecStimulus::SetTecTemperature(double celsius)
{
    const double part =
        std::isfinite(celsius) ? std::clamp((celsius - mStart) / (mFull - mStart), 0.0, 1.0) : 1.0;
    const double floor = kFullDemand * part;
    if (floor == mFloor)
        return;
    mFloor = floor;
    NotifyChange();
}

double CLaserTecStimulus::ApplyTransformation(double demand, std::uint16_t)
{
    return std::max(demand, mFloor);
}
