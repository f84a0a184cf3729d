// The curve of the ambient stimulus as speeds that are held, not as demands.
#pragma once

#include "software/bp/hwlogic/CAmbientTempModalStimulus.h"
#include "software/bp/hwlogic/CClosedPidLoop.h"

#include <cstdint>
#include <map>

/// A curve value is a part of a fan's full speed. A direct loop a fan drives the demand until the fan turns
/// as fast, whatever its age and the dust in its filter. A fan whose speed is not known follows the curve as
/// a factor. Fans are added first.
class CAmbientTempModalStimulusPidRpm : public CAmbientTempModalStimulus
{
public:
    explicit CAmbientTempModalStimulusPidRpm(ILog& log);

    /// @param fullSpeed     rpm, above 0
    /// @param i             integral coefficient, per percent of full speed and sample
    /// @throws CException   "Fan %u needs a full speed above 0 (%g rpm)"
    void AddFan(std::uint16_t fan, double fullSpeed, double i);

    /// One sample of a fan's loop; a fan that was not added is passed over.
    /// @param rpm  what is not a finite number is not known
    void Update(std::uint16_t fan, double rpm);

    /// @param pwm  0 to 100, multiplied by the demand that the fan's loop has found
    double ApplyTransformation(double pwm, std::uint16_t fan = 0) override;

private:
    struct SFan
    {
        double mFullSpeed; // rpm
        CClosedPidLoop mLoop;
        bool mIsKnown; // its speed, at the last sample
    };

    ILog& mFanLog;
    std::map<std::uint16_t, SFan> mFans;
};
