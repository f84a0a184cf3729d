// All boards of the simulated projector together.
#pragma once

#include "simulator/CSimulatedBoard.h"
#include "simulator/CSimulatedFaults.h"
#include "simulator/CSimulatedLensMotor.h"
#include "software/bp/hwlogic/CProjectorLogic.h"

#include <array>
#include <chrono>

/// Owns the boards that `CProjectorLogic` drives, and moves their time forward. Used from one thread only.
class CSimulatedProjector
{
public:
    CSimulatedProjector();
    CSimulatedProjector(const CSimulatedProjector&) = delete; // the boards are lent out by reference
    CSimulatedProjector& operator=(const CSimulatedProjector&) = delete;

    SProjectorHardware GetHardware() noexcept;              ///< lent; the projector outlives whoever uses it
    IControlProxy& GetFaults() noexcept { return mFaults; } ///< lent as the hardware is
    void Advance(std::chrono::milliseconds step) noexcept;

private:
    CSimulatedBoard mBoard;
    CSimulatedFaults mFaults{mBoard};
    std::array<CSimulatedLensMotor, kLensAxes> mLens;
};
