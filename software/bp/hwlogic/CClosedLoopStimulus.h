// The correction that a closed loop asks for.
#pragma once

#include "software/bp/hwlogic/CBaseStimulus.h"
#include "software/bp/hwlogic/CClosedLoopFanControl.h"

#include <cstdint>

class ILog;

namespace NClosedLoopStimulus
{
/// A cooling loop as the configuration gives it.
struct SClosedLoopConfig
{
    std::uint32_t mIndex;
    double mTarget; ///< °C
    double mP;
    double mI;
    double mD;
    double mMinimumCorrection; ///< 0 to 1
};

/// What the target that is given says.
enum ETargetRelation
{
    eTargetAbsolute = 0,        ///< the temperature to hold
    eTargetBelowDriveLimit = 1, ///< where light is taken back: the loop holds the photon-drive margin below
};
} // namespace NClosedLoopStimulus

/// Multiplies the demand by the correction factor of its loop, which it registers. `Update` is one sample of
/// the loop and is called once a period; asking for a transformation never samples. Without a measurement the
/// factor is 1.0 and the loop starts anew once there is one. The fan control is not owned, must outlive it.
class CClosedLoopStimulus : public CBaseStimulus
{
public:
    /// @param notifiesFans  whether dependent fans are told when the factor changes; not wanted where they
    ///                      follow each sample anyway
    /// @throws CException   as `CClosedLoopFanControl::AddClosedLoopControl`
    CClosedLoopStimulus(const NClosedLoopStimulus::SClosedLoopConfig& config, CClosedLoopFanControl& control,
                        bool notifiesFans);

    /// @param measurement  °C; what is not a finite number is no measurement
    /// @param newTarget    °C, `CClosedLoopFanControl::kKeepTarget` for the one before
    void Update(double measurement, double newTarget = CClosedLoopFanControl::kKeepTarget);

    void SetPhotonDriveMargin(int kelvin) noexcept { mPhotonDriveMargin = kelvin; }
    /// How targets given from now on are meant; at first absolute.
    void SetTempRelation(NClosedLoopStimulus::ETargetRelation relation) noexcept { mRelation = relation; }

    double GetCorrectionFactor() const noexcept { return mFactor; } ///< 1.0 at first
    double ApplyTransformation(double demand, std::uint16_t fan = 0) override;

private:
    double NextFactor(double measurement, double newTarget);

    CClosedLoopFanControl& mControl;
    const bool mNotifiesFans;
    int mPhotonDriveMargin = 0; // K
    NClosedLoopStimulus::ETargetRelation mRelation = NClosedLoopStimulus::eTargetAbsolute;
    double mFactor = 1.0;
    const int mIndex;
    bool mIsRunning = true; // the loop has had a measurement, or is fresh
};
