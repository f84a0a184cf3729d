// A saturated sample does not integrate; that keeps the sum from winding up.
#include "software/bp/hwlogic/CClosedPidLoop.h"

#include "software/utility/CException.h"

#include <algorithm>
#include <cmath>

namespace
{
constexpr char kSource[] = "software/bp/hwlogic/CClosedPidLoop";
constexpr double kFullFactor = 1.0;
} // namespace

CClosedPidLoop::CClosedPidLoop(ILog& log, double target, double p, double i, double d, double minimum,
                               bool directProportional) noexcept
    : mCore(log, p, i, d)
    , mTarget(target)
    , mMinimum(minimum)
    , mIsDirect(directProportional)
{
}

void CClosedPidLoop::CheckMaxOutput(double output)
{
    if (!(output > 0.0) || !std::isfinite(output))
        throw CException(__func__, kSource, __LINE__, false,
                         "Maximum output of a closed loop must be above 0 (%g)", output);
}

void CClosedPidLoop::SetMaxOutput(double output)
{
    CheckMaxOutput(output);
    mMaxOutput = output;
}

double CClosedPidLoop::Process(double measurement)
{
    const double error = PrePidProcessing(measurement);
    if (!std::isfinite(error))
        return Fail();
    const CPidCoreAlgorithm::SResult result = mCore.Calculate(mSum, mPreviousError, error);
    mPreviousError = error;
    return PostPidProcessing(result.mOutput, result.mSum);
}

// Nothing is known, so nothing may be slowed down; what is not a number must not stay in the sums either.
double CClosedPidLoop::Fail() noexcept
{
    ClearIntegralSum();
    ClearPreviousError();
    return mFactor = kFullFactor;
}

double CClosedPidLoop::PrePidProcessing(double measurement) noexcept
{
    double error = mTarget - measurement;
    if (std::abs(error) <= mErrorThreshold)
        error = 0.0;
    if (mIsDirect ? error < mShutOffLimit : error > mShutOffLimit)
        ClearIntegralSum();
    return error;
}

double CClosedPidLoop::PostPidProcessing(double output, double sum) noexcept
{
    // The difference, because a mere sign would make -0.0 of a loop that has nothing to do.
    const double positive = std::max(0.0, mIsDirect ? output : 0.0 - output);
    const double candidate = mIsDirect ? std::max(0.0, sum) : std::min(0.0, sum);
    mFactor = positive / mMaxOutput;
    if (mFactor > kFullFactor)
    {
        mFactor = kFullFactor;
        return mFactor;
    }
    mFactor = std::max(mFactor, mMinimum);
    mSum = candidate;
    return mFactor;
}
