// Holds one temperature at its target.
#pragma once

#include "software/bp/hwlogic/CPidCoreAlgorithm.h"

class ILog;

/// Turns a measurement a sample into a correction factor between its minimum and 1.0. Temperatures in °C, or
/// whatever else target and measurement have in common. A measurement must be a number: who has none does not
/// sample. The log is not owned and must outlive it.
class CClosedPidLoop
{
public:
    /// @param minimum             lowest correction factor
    /// @param directProportional  whether the output grows when the measurement is below the target; that of
    ///                            a cooling loop grows when it is above
    CClosedPidLoop(ILog& log, double target, double p, double i, double d, double minimum,
                   bool directProportional) noexcept;

    /// One sample; the correction factor. It is 1.0, and the loop starts anew, when measurement or target is
    /// not a finite number.
    double Process(double measurement);

    void SetErrorThreshold(double threshold) noexcept { mErrorThreshold = threshold; } ///< dead band
    /// The integral sum is cleared while the error is above this; in a direct loop while it is below, so
    /// that such a loop wants a negative limit.
    void SetShutOffLimit(double limit) noexcept { mShutOffLimit = limit; }
    void SetNewTarget(double target) noexcept { mTarget = target; }
    void SetMinimumCorrectionFactor(double minimum) noexcept { mMinimum = minimum; }
    /// The output that stands for the factor 1.0.
    /// @throws CException "Maximum output of a closed loop must be above 0 (%g)"
    void SetMaxOutput(double output);
    void SetIsDirectProportionalLoop(bool direct) noexcept { mIsDirect = direct; }

    void ClearIntegralSum() noexcept { mSum = 0.0; }
    void ClearPreviousError() noexcept { mPreviousError = 0.0; }

    double GetCorrectionFactor() const noexcept { return mFactor; } ///< of the last sample, 1.0 before it
    double GetTarget() const noexcept { return mTarget; }
    double GetIntegralSum() const noexcept { return mSum; }
    CPidCoreAlgorithm& GetCore() noexcept { return mCore; }

    static void CheckMaxOutput(double output); ///< as `SetMaxOutput`, but changes nothing

private:
    double Fail() noexcept;
    double PrePidProcessing(double measurement) noexcept; // the error
    double PostPidProcessing(double output, double sum) noexcept;

    CPidCoreAlgorithm mCore;
    double mPreviousError = 0.0;
    double mSum = 0.0;
    double mErrorThreshold = 1.0;
    double mShutOffLimit = 5.0;
    double mTarget;
    double mFactor = 1.0;
    double mMinimum;
    double mMaxOutput = 1.0;
    bool mIsDirect;
};
