// The lens that this projector has.
#include "simulator/CSimulatedProjector.h"

// Travel in steps and speed in steps per second: horizontal shift, vertical shift, focus, zoom.
CSimulatedProjector::CSimulatedProjector()
    : mLens{CSimulatedLensMotor({-4500, 4500}, 1500.0), CSimulatedLensMotor({-4000, 4000}, 1500.0),
            CSimulatedLensMotor({-5000, 5000}, 1000.0), CSimulatedLensMotor({-4000, 4000}, 1000.0)}
{
}

SProjectorHardware CSimulatedProjector::GetHardware() noexcept
{
    return {mBoard, mBoard, {&mLens[0], &mLens[1], &mLens[2], &mLens[3]}};
}

void CSimulatedProjector::Advance(std::chrono::milliseconds step) noexcept
{
    mBoard.Advance(step);
    for (CSimulatedLensMotor& motor : mLens)
        motor.Advance(step);
}
