// What a projector does: its controls bound to its hardware, and what goes on by itself.
#pragma once

#include "software/bp/hwlogic/CBoardProxy.h"
#include "software/bp/hwlogic/CDateTimeProxy.h"
#include "software/bp/hwlogic/CFanControl.h"
#include "software/bp/hwlogic/CLensAxisProxy.h"
#include "software/bp/hwlogic/CLensHomeAction.h"
#include "software/bp/hwlogic/CLightDerating.h"
#include "software/bp/hwlogic/COperatingHours.h"
#include "software/bp/hwlogic/CPassiveProxy.h"
#include "software/bp/hwlogic/CReadouts.h"
#include "software/bp/hwlogic/CResetAction.h"
#include "software/bp/hwlogic/CStatusMonitor.h"

#include <array>
#include <chrono>
#include <map>
#include <string>
#include <string_view>

class CEventDispatcher;
class CJobScheduler;
class CProjCon;
class CStatusDb;
class ICoolingBoard;
class ILensMotor;
class ILog;
class IMonotonicClock;
class IProjectorBoard;
struct SThermalConfig;

constexpr std::size_t kLensAxes = 4;

/// The boards of one projector. None is owned; all must outlive whoever uses them.
struct SProjectorHardware
{
    IProjectorBoard& mBoard;
    ICoolingBoard& mCooling;
    std::array<ILensMotor*, kLensAxes> mLens; ///< horizontal shift, vertical shift, focus, zoom; none is null
};

/// Owns the proxies of all controls and the slow workings behind them. It comes before the controls and
/// outlives them; dispatcher, hardware, status and log outlive it. Used from the loop's thread.
class CProjectorLogic
{
public:
    CProjectorLogic(CEventDispatcher& dispatcher, const SProjectorHardware& hardware, CStatusDb& status,
                    ILog& log);
    CProjectorLogic(const CProjectorLogic&) = delete;
    CProjectorLogic& operator=(const CProjectorLogic&) = delete;

    /// The hardware side of a control; a code that no hardware stands behind has one that takes everything.
    IControlProxy& GetProxy(std::string_view code) noexcept;

    /// The number that a restart shall find in a control: what somebody chose, also while the projector holds
    /// it down by itself.
    int GetLastingValue(const CProjCon& control) const;

    /// Brings the fans under the control of their loops; before, they run at a safe speed.
    /// @throws CException "Thermal zone %d: REASON"
    void ConfigureThermal(const SThermalConfig& config) { mFans.Configure(config); }

    /// Registers what goes on by itself: fans, light limit, counters, read-outs, status.
    /// @param clock  what the jobs measure their time with; like this it outlives the scheduler
    void RegisterJobs(CJobScheduler& scheduler, const IMonotonicClock& clock);

    static constexpr std::chrono::milliseconds kLensPeriod{40};   ///< positions of a moving lens are shown
    static constexpr std::chrono::milliseconds kSlowPeriod{1000}; ///< light limit and counters
    /// Temperatures and fan speeds are shown at this pace: more often than anybody reads would only load the
    /// clients that listen while the projector warms up.
    static constexpr std::chrono::milliseconds kReadoutPeriod{200};

private:
    struct SJobRow;
    static const SJobRow kJobs[];

    void UpdateReadouts(std::chrono::milliseconds elapsed);
    void BindLens(const SProjectorHardware& hardware);
    void BindReadouts(const ICoolingBoard& board);

    CPassiveProxy mPassive;
    CBoardProxy mBoard;
    CDateTimeProxy mDate{CDateTimeProxy::EKind::Date};
    CDateTimeProxy mTime{CDateTimeProxy::EKind::Time};
    std::array<CLensAxisProxy, kLensAxes> mLens;
    CLensHomeAction mLensHome;
    CResetAction mReset;
    CFanControl mFans;
    CLightDerating mDerating;
    COperatingHours mHours;
    CReadouts mLensReadouts;
    CReadouts mThermalReadouts;
    CStatusMonitor mMonitor;
    std::map<std::string, IControlProxy*, std::less<>> mProxies; // those outside the board's table, by code
};
