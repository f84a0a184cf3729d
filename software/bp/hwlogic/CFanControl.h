// Turns temperatures into fan speeds.
#pragma once

#include "software/bp/hwlogic/ICoolingBoard.h"
#include "software/bp/serial/IControlProxy.h"

#include <array>

/// One proportional rule a zone, chosen by the thermal mode; it is also the proxy of the control that chooses
/// the mode. A zone whose sensor gives no number is cooled at full speed. The board is not owned and must
/// outlive it. Used from the loop's thread.
class CFanControl : public IControlProxy
{
public:
    enum EMode // the values of the control's list
    {
        eModeDefault = 0,
        eModeQuiet = 1,
        eModePerformance = 2,
    };

    explicit CFanControl(ICoolingBoard& board) noexcept
        : mBoard(board)
    {
    }

    void Update(); ///< one step: reads every sensor and sets every fan

    /// What the zone's fan was told last, 0 to 1.
    double GetDemand(EThermalZone zone) const noexcept { return mDemands[static_cast<std::size_t>(zone)]; }

    static double DemandAt(EMode mode, double celsius) noexcept; ///< 0 to 1

    bool ApplyValue(const std::string& code, int value) override; ///< false for a mode that does not exist
    bool ApplyText(const std::string& code, const std::string& text) override; ///< false: a mode is a number

private:
    ICoolingBoard& mBoard;
    EMode mMode = eModeDefault;
    std::array<double, kThermalZones> mDemands{};
};
