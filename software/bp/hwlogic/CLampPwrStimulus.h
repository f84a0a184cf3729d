// Less light needs less air.
#pragma once

#include "software/bp/hwlogic/CBaseStimulus.h"

/// Multiplies the demand by a factor that rises in a straight line from its least, without power, to 1 at the
/// nominal power and above. Power that is not known counts as nominal, and is not known at first.
class CLampPwrStimulus : public CBaseStimulus
{
public:
    /// @param nominalWatts  above 0
    /// @param leastFactor   0 to 1
    /// @throws CException   "Lamp power needs a nominal value above 0 and a factor of 0 to 1 (%g W, %g)"
    CLampPwrStimulus(double nominalWatts, double leastFactor);

    void SetPower(double watts); ///< what is not a finite number is not known

    double ApplyTransformation(double demand, std::uint16_t fan = 0) override;

private:
    const double mNominal; // W
    const double mLeast;
    double mFactor = 1.0;
};
