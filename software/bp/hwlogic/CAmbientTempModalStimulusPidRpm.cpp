// Errors are in percent of full speed, so that one coefficient fits fans of any size.
#include "software/bp/hwlogic/CAmbientTempModalStimulusPidRpm.h"

#include "software/utility/CException.h"

#include <cmath>

namespace
{
constexpr char kSource[] = "software/bp/hwlogic/CAmbientTempModalStimulusPidRpm";
constexpr double kPercent = 100.0;
constexpr double kDeadBand = 1.0;        // percent of full speed
constexpr double kNeverShutOff = -200.0; // no error is below it
} // namespace

CAmbientTempModalStimulusPidRpm::CAmbientTempModalStimulusPidRpm(ILog& log)
    : CAmbientTempModalStimulus(log, "AmbientTempModalStimulusPidRpm")
    , mFanLog(log)
{
}

void CAmbientTempModalStimulusPidRpm::AddFan(std::uint16_t fan, double fullSpeed, double i)
{
    if (!(fullSpeed > 0.0))
        throw CException(__func__, kSource, __LINE__, false, "Fan %u needs a full speed above 0 (%g rpm)",
                         unsigned{fan}, fullSpeed);
    CClosedPidLoop loop(mFanLog, 0.0, 0.0, i, 0.0, 0.0, true);
    loop.SetErrorThreshold(kDeadBand);
    loop.SetShutOffLimit(kNeverShutOff);
    mFans.erase(fan);
    mFans.emplace(fan, SFan{fullSpeed, loop, false});
}

void CAmbientTempModalStimulusPidRpm::Update(std::uint16_t fan, double rpm)
{
    const auto found = mFans.find(fan);
    if (found == mFans.end())
        return;
    SFan& entry = found->second;
    entry.mIsKnown = std::isfinite(rpm);
    if (!entry.mIsKnown)
    {
        entry.mLoop.ClearIntegralSum();
        entry.mLoop.ClearPreviousError();
        return;
    }
    entry.mLoop.SetNewTarget(kPercent * GetPresentFactor());
    entry.mLoop.Process(kPercent * rpm / entry.mFullSpeed);
}

double CAmbientTempModalStimulusPidRpm::ApplyTransformation(double pwm, std::uint16_t fan)
{
    const auto found = mFans.find(fan);
    if (found == mFans.end() || !found->second.mIsKnown)
        return CAmbientTempModalStimulus::ApplyTransformation(pwm, fan);
    return pwm * found->second.mLoop.GetCorrectionFactor();
}
