// All closed loops of a projector, by their index.
#pragma once

#include "software/bp/hwlogic/CClosedPidLoop.h"

#include <map>
#include <memory>

class ILog;

/// Owns the loops. Every parameter of a loop must be finite; what is refused changes nothing. The log is not
/// owned and must outlive it. Used from the loop's thread.
class CClosedLoopFanControl
{
public:
    static constexpr double kKeepTarget = -255.0; ///< as a new target: the loop keeps the one it has

    explicit CClosedLoopFanControl(ILog& log) noexcept
        : mLog(log)
    {
    }

    /// Adds a loop, or replaces the one that has the index.
    /// @throws CException "Maximum output of a closed loop must be above 0 (%g)", "A parameter of closed loop
    ///                    %d is not a number"
    void AddClosedLoopControl(int index, double target, double p, double i, double d, double minimum,
                              double shutOffLimit, double errorThreshold, double maxOutput, bool direct);
    /// Changes a loop that goes on with what it has summed up. A missing one is logged.
    /// @throws CException as `AddClosedLoopControl`
    void EditClosedLoopControl(int index, double target, double p, double i, double d, double minimum,
                               double shutOffLimit, double errorThreshold, double maxOutput, bool direct);
    void DeleteClosedLoopControl(int index);      ///< a missing loop is logged
    void ClearClosedControlParameters(int index); ///< its sum and its last error; a missing loop is logged

    /// One sample of a loop: 1.0, full cooling, when there is none.
    /// @param measurement  a number; who has none calls `ClearClosedControlParameters` instead
    double CalculateCorrectionFactor(int index, double measurement, double newTarget = kKeepTarget);

    void EnableDebugLogs(bool enable); ///< of every loop

    const CClosedPidLoop* FindLoop(int index) const noexcept; ///< null when there is none

private:
    CClosedPidLoop* Find(int index) const noexcept;
    CClosedPidLoop* FindOrLog(int index) const;

    ILog& mLog;
    std::map<int, std::unique_ptr<CClosedPidLoop>> mLoops;
};
