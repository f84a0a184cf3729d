// Full cooling while something is too hot, and a gentle way back.
#pragma once

#include "software/bp/hwlogic/CBaseStimulus.h"

/// 100 % while the warning lasts and for some samples after it; then the floor comes down by steps, so that
/// neither heat nor noise jump.
class CTempWarningRecoveryStimulus : public CBaseStimulus
{
public:
    /// @param holdSamples   after the end of a warning
    /// @param stepPercent   of each sample on the way back, above 0
    /// @throws CException   "Recovery from a temperature warning needs a step above 0 (%g)"
    CTempWarningRecoveryStimulus(unsigned holdSamples, double stepPercent);

    void Update(bool warning); ///< one sample

    bool IsActive() const noexcept { return mFloor > 0.0; } ///< it asks for more than 0 %
    double ApplyTransformation(double demand, std::uint16_t fan = 0) override;

private:
    const unsigned mHoldSamples;
    const double mStep;  // percent a sample
    unsigned mHeld = 0;  // samples since the end of the warning
    double mFloor = 0.0; // percent
};
