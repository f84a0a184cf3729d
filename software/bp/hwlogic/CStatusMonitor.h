// Watches the hardware and tells the status database how it is doing.
#pragma once

#include "software/bp/hwlogic/ICoolingBoard.h"
#include "software/bp/status/CLimitWatch.h"

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

class CEventDispatcher;
class CFanControl;
class CStatusDb;
class ILensMotor;

/// Keeps the groups "Temperature", "Fans" (both with an item for each `EThermalZone`, by its number) and
/// "Lens" (one for each axis added, from 0). Everything it is given is not owned and must outlive it. Used
/// from the loop's thread.
class CStatusMonitor
{
public:
    CStatusMonitor(CStatusDb& status, CEventDispatcher& dispatcher, const ICoolingBoard& board,
                   const CFanControl& fans);

    /// @param description  for people
    /// @param code         control that says where the axis shall be
    void AddAxis(const char* description, const std::string& code, const ILensMotor& motor);

    /// Reads everything once. @param elapsed  time since the last call
    void Update(std::chrono::milliseconds elapsed);

    /// The limits of the "Temperature" group, °C, in the order of `EThermalZone`.
    static const SLimits& GetTemperatureLimits(EThermalZone zone) noexcept;

    static constexpr char kTemperatures[] = "Temperature";
    static constexpr char kFans[] = "Fans";
    static constexpr char kLens[] = "Lens";

    static constexpr double kDriven = 0.2;                      ///< demand from which a fan has to turn
    static constexpr double kLeastSpeed = 300.0;                ///< rpm that a driven fan reaches at least
    static constexpr std::chrono::milliseconds kFanHold{5000};  ///< so long it may take to get there
    static constexpr std::chrono::milliseconds kLensHold{3000}; ///< so long an axis may stand off its target

private:
    struct SZone
    {
        EThermalZone mZone;
        CLimitWatch mHeat;
        CLimitWatch mFan; // of the speed that it lacks, rpm
    };
    struct SAxis
    {
        std::string mCode;
        const ILensMotor* mMotor;
        int mPosition;           // at the last look
        CLimitWatch mStandstill; // 1 while it stands where it should not be
    };

    void UpdateTemperature(SZone& zone, std::chrono::milliseconds elapsed);
    void UpdateFan(SZone& zone, std::chrono::milliseconds elapsed);
    void UpdateAxis(SAxis& axis, int index, std::chrono::milliseconds elapsed);

    CStatusDb& mStatus;
    CEventDispatcher& mDispatcher;
    const ICoolingBoard& mBoard;
    const CFanControl& mFanControl;
    std::vector<SZone> mZones;
    std::vector<SAxis> mAxes;
};
