// From the base demand through the stimuli to the fan.
#pragma once

#include "software/bp/hwlogic/IFanManager.h"

#include <cstdint>
#include <vector>

class CBaseStimulus;
class IFan;

/// When a stimulus has its turn; those of one stage in the order in which they were added. Factors come
/// before floors, so that no factor undercuts one, and what overrides comes last.
enum class EStimulusStage
{
    Curve,      ///< what the mode allows at this ambient temperature
    Correction, ///< factors: closed loop, lamp power
    Floor,      ///< least demands: minimum, laser cooler
    Override,   ///< full cooling: warnings
};

/// Drives one fan. The base demand is 100 %; what the stimuli make of it is cut to 0..100 %, and 100 % when
/// it is not a number. The fan runs at its safe speed from the beginning until the first update, and after
/// the end. Fan and stimuli are not owned and must outlive it. Used from the loop's thread.
class CFanManager : public IFanManager
{
public:
    static constexpr double kBaseDemand = 100.0; ///< percent

    /// @param index         handed to the stimuli
    /// @param safeDemand    percent, 0 to 100; what is no number is 100
    CFanManager(IFan& fan, std::uint16_t index, double safeDemand);
    CFanManager(const CFanManager&) = delete;
    CFanManager& operator=(const CFanManager&) = delete;
    ~CFanManager() override;

    void AddStimulus(CBaseStimulus& stimulus, EStimulusStage stage);

    void Update(); ///< runs the demand through all stimuli and tells the fan
    /// Updates at once, though not before the first `Update`.
    void OnStimulusChange(const IStimulus& stimulus) override;

    double GetDemand() const noexcept { return mDemand; } ///< percent, what the fan was told last

private:
    struct SEntry
    {
        EStimulusStage mStage;
        CBaseStimulus* mStimulus;
    };

    void Tell(double demand);

    IFan& mFan;
    const std::uint16_t mIndex;
    const double mSafeDemand;
    std::vector<SEntry> mStimuli; // in the order of their turns
    double mDemand = 0.0;
    bool mIsRunning = false;
};
