// Constant speed up to the target, and never past it.
#include "simulator/CSimulatedLensMotor.h"

#include "software/utility/CException.h"

#include <algorithm>
#include <cmath>

namespace
{
constexpr char kSource[] = "simulator/CSimulatedLensMotor";
}

CSimulatedLensMotor::CSimulatedLensMotor(const SLensTravel& travel, double speed)
    : mTravel(travel)
    , mSpeed(speed)
{
    if (travel.mLowest > 0 || travel.mHighest < 0)
        throw CException(__func__, kSource, __LINE__, false, "Lens motor needs a travel around 0 (%d to %d)",
                         travel.mLowest, travel.mHighest);
    if (!(speed > 0.0)) // written so that NaN is refused too
        throw CException(__func__, kSource, __LINE__, false, "Lens motor needs a positive speed (%g steps/s)",
                         speed);
}

int CSimulatedLensMotor::GetPosition() const
{
    return static_cast<int>(std::lround(mPosition));
}

bool CSimulatedLensMotor::MoveTo(int steps)
{
    mTarget = std::clamp(steps, mTravel.mLowest, mTravel.mHighest);
    return true;
}

bool CSimulatedLensMotor::Home()
{
    return MoveTo(0);
}

void CSimulatedLensMotor::Advance(std::chrono::milliseconds step) noexcept
{
    const double reach = mSpeed * std::chrono::duration<double>(step).count();
    mPosition += std::clamp(mTarget - mPosition, -reach, reach);
}
