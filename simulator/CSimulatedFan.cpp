// First-order lag, solved exactly, so that the length of the steps does not matter.
#include "simulator/CSimulatedFan.h"

#include "software/utility/CException.h"

#include <algorithm>
#include <cmath>

namespace
{
constexpr char kSource[] = "simulator/CSimulatedFan";
constexpr double kSpinUpSeconds = 1.5; // time constant of rotor and air
} // namespace

CSimulatedFan::CSimulatedFan(double fullSpeed)
    : mFullSpeed(fullSpeed)
{
    if (!(fullSpeed > 0.0)) // written so that NaN is refused too
        throw CException(__func__, kSource, __LINE__, false, "Fan needs a positive full speed (%g rpm)",
                         fullSpeed);
}

void CSimulatedFan::SetDemand(double demand) noexcept
{
    mTarget = mFullSpeed * (std::isnan(demand) ? 1.0 : std::clamp(demand, 0.0, 1.0));
}

void CSimulatedFan::Advance(std::chrono::milliseconds step) noexcept
{
    const double seconds = std::chrono::duration<double>(step).count();
    const double target = mBlocked ? 0.0 : mTarget;
    mSpeed = target + (mSpeed - target) * std::exp(-seconds / kSpinUpSeconds);
}
