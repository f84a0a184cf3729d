// The order of the operations is part of the result: it decides the last bit.
#include "software/bp/hwlogic/CPidCoreAlgorithm.h"

#include "software/include/ILog.h"

CPidCoreAlgorithm::CPidCoreAlgorithm(ILog& log, double p, double i, double d) noexcept
    : mLog(log)
    , mP(p)
    , mI(i)
    , mD(d)
{
}

CPidCoreAlgorithm::SResult CPidCoreAlgorithm::Calculate(double sum, double previousError, double error) const
{
    const double newSum = sum + error;
    const double pTerm = mP * error;
    const double iTerm = mI * newSum;
    const double dTerm = mD * (error - previousError);
    const double output = pTerm + iTerm + dTerm;
    if (mDebug)
        mLog.Log("%d: %0.4f, %0.4f, %0.4f, %0.4f, %0.4f, %0.4f, %0.4f, %0.4f, %0.4f, %0.4f", mDebugIndex, mP,
                 mI, mD, error, sum, newSum, pTerm, iTerm, dTerm, output);
    return {output, newSum};
}

void CPidCoreAlgorithm::EnableDebugLogs(bool enable, int index)
{
    mDebug = enable;
    if (enable)
        mLog.Log("Index: Kp, Ki, Kd, error, iSum, iSumTemp, pTerm, iTerm, dTerm, cntrlVar");
    mDebugIndex = index;
}
