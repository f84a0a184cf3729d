// Turns temperatures into fan speeds.
#pragma once

#include "software/bp/hwlogic/CClosedLoopFanControl.h"
#include "software/bp/hwlogic/CZoneCooling.h"
#include "software/bp/hwlogic/ICoolingBoard.h"
#include "software/bp/serial/IControlProxy.h"
#include "software/include/IThermalMode.h"

#include <array>
#include <chrono>

class ILog;
struct SThermalConfig;

/// The thermal control of all zones; it is also the proxy of the control that chooses the mode. All fans run
/// at a safe speed until `Configure`, and after the end. Board and log are not owned and must outlive it.
/// Used from the loop's thread.
class CFanControl : public IControlProxy, public IThermalMode
{
public:
    static constexpr std::chrono::milliseconds kSamplePeriod{1000}; ///< the time base of the loops

    CFanControl(ICoolingBoard& board, ILog& log);
    CFanControl(const CFanControl&) = delete;
    CFanControl& operator=(const CFanControl&) = delete;
    ~CFanControl() override; ///< all fans at their safe speed

    /// Once.
    /// @throws CException "Thermal zone %d: REASON"; the fans then stay at their safe speed
    void Configure(const SThermalConfig& config);

    void Update(); ///< one sample: reads every sensor and sets every fan

    /// What the zone's fan was told last, 0 to 1.
    double GetDemand(EThermalZone zone) const noexcept;
    /// The zone's temperature, °C; not a number when its last reading may not be believed.
    double GetTemperature(EThermalZone zone) const;
    CClosedLoopFanControl& GetLoops() noexcept { return mLoops; } ///< by the numbers of the zones

    ETcmMode GetMode() const override { return mMode; }
    bool ApplyValue(const std::string& code, int value) override; ///< false for a mode that does not exist
    bool ApplyText(const std::string& code, const std::string& text) override; ///< false: a mode is a number

private:
    ICoolingBoard& mBoard;
    ILog& mLog;
    CClosedLoopFanControl mLoops;
    std::array<CZoneCooling, kThermalZones> mZones; // by EThermalZone
    ETcmMode mMode = eModeDefault;
    bool mIsConfigured = false;
};
