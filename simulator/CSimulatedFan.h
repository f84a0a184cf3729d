// A fan with inertia.
#pragma once

#include <chrono>

/// Follows its demand with a lag of first order, as a rotor does. Used from one thread only; it takes no
/// locks.
class CSimulatedFan
{
public:
    /// @param fullSpeed     rpm at demand 1, above 0
    /// @throws CException   "Fan needs a positive full speed (%g rpm)"
    explicit CSimulatedFan(double fullSpeed);

    void SetDemand(double demand) noexcept; ///< cut to 0..1; what is not a number counts as 1
    void SetBlocked(bool blocked) noexcept { mBlocked = blocked; } ///< stands still, whatever the demand
    double GetSpeed() const noexcept { return mSpeed; }            ///< rpm

    void Advance(std::chrono::milliseconds step) noexcept; ///< moves the fan forward by any length of time

private:
    const double mFullSpeed; // rpm
    double mTarget = 0.0;    // rpm
    double mSpeed = 0.0;     // rpm
    bool mBlocked = false;
};
