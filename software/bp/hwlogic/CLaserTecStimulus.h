// Air for the cooler that keeps a laser cold.
#pragma once

#include "software/bp/hwlogic/CBaseStimulus.h"

/// A floor under the demand: nothing while the thermoelectric cooler is below its start, then in proportion,
/// 100 % from full on. A temperature that is not known counts as hot, and is not known at first.
class CLaserTecStimulus : public CBaseStimulus
{
public:
    /// @param start         °C
    /// @param full          °C, above start
    /// @throws CException   "A laser cooler needs a full temperature above its start (%g, %g degrees C)"
    CLaserTecStimulus(double start, double full);

    void SetTecTemperature(double celsius); ///< what is not a finite number is not known

    double ApplyTransformation(double demand, std::uint16_t fan = 0) override;

private:
    const double mStart;
    const double mFull;
    double mFloor = 100.0; // percent
};
