// A lens axis that takes its time.
#pragma once

#include "software/bp/hwlogic/ILensMotor.h"

#include <chrono>

/// Moves at a constant speed towards its target and stops at the ends of its travel, whatever the target.
/// Used from one thread only; it takes no locks.
class CSimulatedLensMotor : public ILensMotor
{
public:
    /// @param travel       with position 0, where the axis stands at first, inside
    /// @param speed        steps per second, above 0
    /// @throws CException  "Lens motor needs a travel around 0 (%d to %d)", "Lens motor needs a positive
    /// speed
    ///                     (%g steps/s)"
    CSimulatedLensMotor(const SLensTravel& travel, double speed);

    SLensTravel GetTravel() const override { return mTravel; }
    int GetPosition() const override;
    bool MoveTo(int steps) override; ///< true
    bool Home() override;            ///< true: the axis drives to its home switch

    void Advance(std::chrono::milliseconds step) noexcept; ///< moves the axis forward by any length of time

private:
    const SLensTravel mTravel;
    const double mSpeed;    // steps per second
    double mTarget = 0.0;   // steps, inside the travel
    double mPosition = 0.0; // steps, with the part of a step that is under way
};
