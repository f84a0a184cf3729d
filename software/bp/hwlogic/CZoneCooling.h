// Keeps one zone cool.
#pragma once

#include "software/bp/hwlogic/CAmbientTempModalStimulus.h"
#include "software/bp/hwlogic/CBoardFan.h"
#include "software/bp/hwlogic/CBoardTempSensor.h"
#include "software/bp/hwlogic/CClosedLoopStimulus.h"
#include "software/bp/hwlogic/CFanManager.h"
#include "software/bp/hwlogic/CMinimumStimulus.h"
#include "software/bp/hwlogic/CTempWarningRecoveryStimulus.h"
#include "software/bp/hwlogic/SThermalConfig.h"
#include "software/include/IThermalMode.h"

#include <optional>

class ILog;

/// The sensor of a zone, its fan, and the stimuli between: curve, closed loop, least demand, full cooling on
/// a warning. The fan runs at its safe speed until there is a configuration, and after the end. Board, fan
/// control and log are not owned and must outlive it. Used from the loop's thread.
class CZoneCooling
{
public:
    static constexpr double kSafeDemand = 70.0; ///< percent: enough for full light in every zone

    CZoneCooling(ICoolingBoard& board, EThermalZone zone, CClosedLoopFanControl& loops, ILog& log);

    /// @throws CException "Thermal zone %d: REASON"; then nothing has changed
    void Configure(const SThermalZoneConfig& config,
                   const std::array<std::vector<SFanCurvePoint>, kThermalModes>& curves);

    void SetMode(IThermalMode::ETcmMode mode); ///< the curve changes at once, the target at the next sample

    /// One sample of the loop, once a second; does nothing before there is a configuration.
    /// @param ambient  °C; what is not a finite number counts as hot
    void Sample(double ambient);

    /// °C; not a number when the last reading may not be believed, and before the first.
    double GetTemperature() const;
    double GetDemand() const noexcept { return mManager.GetDemand(); } ///< percent

private:
    // What only a configuration brings into being.
    struct SStimuli
    {
        SStimuli(int index, const SThermalZoneConfig& config, CClosedLoopFanControl& loops);

        CClosedLoopStimulus mLoop;
        CMinimumStimulus mMinimum;
        CTempWarningRecoveryStimulus mRecovery;
    };

    void LogTrust(double celsius);

    const EThermalZone mZone;
    CClosedLoopFanControl& mLoops;
    ILog& mLog;
    CBoardFan mFan;
    CBoardTempSensor mSensor;
    SThermalZoneConfig mConfig;
    IThermalMode::ETcmMode mMode = IThermalMode::eModeDefault;
    CAmbientTempModalStimulus mCurve;
    std::optional<SStimuli> mStimuli;
    CFanManager mManager; // before the stimuli go
    bool mIsTrusted = true;
};
