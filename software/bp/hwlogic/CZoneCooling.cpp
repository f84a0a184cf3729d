// A reading that may not be believed never reaches the loop; the zone is then cooled fully.
#include "software/bp/hwlogic/CZoneCooling.h"

#include "software/bp/hwlogic/NTempReading.h"
#include "software/include/ILog.h"
#include "software/utility/CException.h"

#include <algorithm>
#include <cmath>

namespace
{
constexpr char kSource[] = "software/bp/hwlogic/CZoneCooling";
constexpr unsigned kRecoverySamples = 30;
constexpr double kRecoveryStep = 2.0; // percent a sample
constexpr unsigned kFullPercent = 100;

bool IsPart(double value)
{
    return value >= 0.0 && value <= 1.0;
}

bool IsCoefficient(double value)
{
    return value >= 0.0 && std::isfinite(value);
}

// What is wrong with a configuration, null when nothing is. Written so that what is not a number is wrong.
const char* FindFault(const SThermalZoneConfig& config)
{
    const STempRange range = config.mRange;
    if (!(range.mLowest < range.mHighest) || !std::isfinite(range.mHighest - range.mLowest))
        return "the sensor's range is empty";
    for (const double target : config.mTargets)
        if (!(target >= range.mLowest && target < config.mWarning))
            return "a target is not between the sensor's lowest temperature and the warning";
    if (!(config.mWarning <= range.mHighest))
        return "the warning is outside the sensor's range";
    if (!IsCoefficient(config.mP) || !IsCoefficient(config.mI) || !IsCoefficient(config.mD))
        return "a coefficient is below 0";
    if (!IsPart(config.mMinimumCorrection))
        return "the minimum correction is not from 0 to 1";
    if (config.mMinimumDemand == 0 || config.mMinimumDemand > kFullPercent)
        return "the least demand is not above 0 and up to 100 percent";
    return nullptr;
}
} // namespace

CZoneCooling::SStimuli::SStimuli(int index, const SThermalZoneConfig& config, CClosedLoopFanControl& loops)
    : mLoop({static_cast<std::uint32_t>(index), config.mTargets[IThermalMode::eModeDefault], config.mP,
             config.mI, config.mD, config.mMinimumCorrection},
            loops, false)
    , mMinimum(config.mMinimumDemand)
    , mRecovery(kRecoverySamples, kRecoveryStep)
{
}

CZoneCooling::CZoneCooling(ICoolingBoard& board, EThermalZone zone, CClosedLoopFanControl& loops, ILog& log)
    : mZone(zone)
    , mLoops(loops)
    , mLog(log)
    , mFan(board, zone)
    , mSensor(board, zone)
    , mCurve(log)
    , mManager(mFan, static_cast<std::uint16_t>(zone), kSafeDemand)
{
    mManager.AddStimulus(mCurve, EStimulusStage::Curve);
}

void CZoneCooling::Configure(const SThermalZoneConfig& config,
                             const std::array<std::vector<SFanCurvePoint>, kThermalModes>& curves)
{
    const int index = static_cast<int>(mZone);
    const char* fault = FindFault(config);
    if (std::any_of(curves.begin(), curves.end(), [](const auto& curve) { return curve.empty(); }))
        fault = "a fan curve has no points";
    if (mStimuli)
        fault = "it is configured already";
    if (fault != nullptr)
        throw CException(__func__, kSource, __LINE__, false, "Thermal zone %d: %s", index, fault);
    mConfig = config;
    mSensor.SetRange(config.mRange);
    for (std::size_t mode = 0; mode < curves.size(); ++mode)
        mCurve.SetCurve(curves[mode].data(), curves[mode].size(), static_cast<IThermalMode::ETcmMode>(mode));
    mStimuli.emplace(index, config, mLoops);
    mManager.AddStimulus(mStimuli->mLoop, EStimulusStage::Correction);
    mManager.AddStimulus(mStimuli->mMinimum, EStimulusStage::Floor);
    mManager.AddStimulus(mStimuli->mRecovery, EStimulusStage::Override);
}

void CZoneCooling::SetMode(IThermalMode::ETcmMode mode)
{
    mMode = mode;
    mCurve.SetMode(mode);
}

void CZoneCooling::Sample(double ambient)
{
    mSensor.Sample();
    if (!mStimuli)
        return;
    const double celsius = GetTemperature();
    LogTrust(celsius);
    mCurve.SetAmbient(std::isfinite(ambient)
                          ? static_cast<int>(std::clamp<double>(ambient, mCurve.kLowestTemperature,
                                                                mCurve.kHighestTemperature))
                          : mCurve.kHighestTemperature);
    mStimuli->mLoop.Update(celsius, mConfig.mTargets[static_cast<std::size_t>(mMode)]);
    mStimuli->mRecovery.Update(!(celsius < mConfig.mWarning)); // what is not a number is a warning too
    mManager.Update();
}

double CZoneCooling::GetTemperature() const
{
    return NTempReading::GetTrusted(mSensor);
}

void CZoneCooling::LogTrust(double celsius)
{
    const bool isTrusted = !std::isnan(celsius);
    if (isTrusted == mIsTrusted)
        return;
    mIsTrusted = isTrusted;
    const int zone = static_cast<int>(mZone);
    if (isTrusted)
        mLog.LogWarning("Thermal zone %d: readings may be believed again; its loop starts anew", zone);
    else
        mLog.LogError("Thermal zone %d: reading %.1f degrees C, %u samples old, may not be believed; its fan "
                      "runs at full speed",
                      zone, mSensor.GetRealTemperature(), mSensor.GetAge());
}
