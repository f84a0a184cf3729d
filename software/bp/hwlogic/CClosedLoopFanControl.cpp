// Checks come first: a refused change leaves the loop that was there.
#include "software/bp/hwlogic/CClosedLoopFanControl.h"

#include "software/include/ILog.h"
#include "software/utility/CException.h"

#include <cmath>
#include <initializer_list>
#include <utility>

namespace
{
constexpr char kSource[] = "software/bp/hwlogic/CClosedLoopFanControl";

void Check(int index, std::initializer_list<double> parameters, double maxOutput)
{
    CClosedPidLoop::CheckMaxOutput(maxOutput);
    for (const double parameter : parameters)
        if (!std::isfinite(parameter))
            throw CException(__func__, kSource, __LINE__, false,
                             "A parameter of closed loop %d is not a number", index);
}
} // namespace

void CClosedLoopFanControl::AddClosedLoopControl(int index, double target, double p, double i, double d,
                                                 double minimum, double shutOffLimit, double errorThreshold,
                                                 double maxOutput, bool direct)
{
    Check(index, {target, p, i, d, minimum, shutOffLimit, errorThreshold}, maxOutput);
    if (mLoops.count(index) != 0)
    {
        mLog.Log("Deleting the existing closed loop at the index: %d", index);
        mLoops.erase(index);
    }
    mLog.Log("Adding a closed loop at the index: %d", index);
    auto loop = std::make_unique<CClosedPidLoop>(mLog, target, p, i, d, minimum, direct);
    loop->SetShutOffLimit(shutOffLimit);
    loop->SetErrorThreshold(errorThreshold);
    loop->SetMaxOutput(maxOutput);
    mLoops[index] = std::move(loop);
}

void CClosedLoopFanControl::EditClosedLoopControl(int index, double target, double p, double i, double d,
                                                  double minimum, double shutOffLimit, double errorThreshold,
                                                  double maxOutput, bool direct)
{
    Check(index, {target, p, i, d, minimum, shutOffLimit, errorThreshold}, maxOutput);
    CClosedPidLoop* loop = FindOrLog(index);
    if (loop == nullptr)
        return;
    loop->SetNewTarget(target);
    loop->GetCore().SetCoefficientP(p);
    loop->GetCore().SetCoefficientI(i);
    loop->GetCore().SetCoefficientD(d);
    loop->SetMinimumCorrectionFactor(minimum);
    loop->SetShutOffLimit(shutOffLimit);
    loop->SetErrorThreshold(errorThreshold);
    loop->SetMaxOutput(maxOutput);
    loop->SetIsDirectProportionalLoop(direct);
}

void CClosedLoopFanControl::DeleteClosedLoopControl(int index)
{
    if (FindOrLog(index) == nullptr)
        return;
    mLog.Log("Deleting the existing closed loop at the index: %d", index);
    mLoops.erase(index);
}

void CClosedLoopFanControl::ClearClosedControlParameters(int index)
{
    CClosedPidLoop* loop = FindOrLog(index);
    if (loop == nullptr)
        return;
    mLog.Log("Clearing the closed loop parameters at the index: %d", index);
    loop->ClearIntegralSum();
    loop->ClearPreviousError();
}

double CClosedLoopFanControl::CalculateCorrectionFactor(int index, double measurement, double newTarget)
{
    CClosedPidLoop* loop = Find(index);
    if (loop == nullptr)
        return 1.0;
    if (newTarget != kKeepTarget)
        loop->SetNewTarget(newTarget);
    return loop->Process(measurement);
}

void CClosedLoopFanControl::EnableDebugLogs(bool enable)
{
    for (const auto& [index, loop] : mLoops)
    {
        mLog.Log("%s closed loop[%d] debug logs", enable ? "Enabling" : "Disabling", index);
        loop->GetCore().EnableDebugLogs(enable, index);
    }
}

const CClosedPidLoop* CClosedLoopFanControl::FindLoop(int index) const noexcept
{
    return Find(index);
}

CClosedPidLoop* CClosedLoopFanControl::Find(int index) const noexcept
{
    const auto found = mLoops.find(index);
    return found == mLoops.end() ? nullptr : found->second.get();
}

CClosedPidLoop* CClosedLoopFanControl::FindOrLog(int index) const
{
    CClosedPidLoop* loop = Find(index);
    if (loop == nullptr)
        mLog.LogError("No closed loop control at the index: %d", index);
    return loop;
}
