// A floor under the demand.
#pragma once

#include "software/bp/hwlogic/CBaseStimulus.h"

class CMinimumStimulus : public CBaseStimulus
{
public:
    explicit CMinimumStimulus(unsigned minimum); ///< percent

    double ApplyTransformation(double demand, std::uint16_t fan = 0) override;

private:
    const double mMinimum;
};
