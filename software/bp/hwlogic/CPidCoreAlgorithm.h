// The arithmetic of a PID controller.
#pragma once

class ILog;

/// Keeps the coefficients and nothing else: what passes from sample to sample is the caller's. There is no
/// sample time: one call is one sample, and the caller's period sets the time base. The log is not owned and
/// must outlive it.
class CPidCoreAlgorithm
{
public:
    /// What one sample gives.
    struct SResult
    {
        double mOutput;
        double mSum; ///< the new integral sum
    };

    CPidCoreAlgorithm(ILog& log, double p, double i, double d) noexcept;

    SResult Calculate(double sum, double previousError, double error) const;

    /// One line a sample from now on, under a header.
    /// @param index  stands in each line
    void EnableDebugLogs(bool enable, int index);

    void SetCoefficientP(double p) noexcept { mP = p; }
    void SetCoefficientI(double i) noexcept { mI = i; }
    void SetCoefficientD(double d) noexcept { mD = d; }
    double GetCoefficientP() const noexcept { return mP; }
    double GetCoefficientI() const noexcept { return mI; }
    double GetCoefficientD() const noexcept { return mD; }

private:
    ILog& mLog;
    double mP;
    double mI;
    double mD;
    int mDebugIndex = 0;
    bool mDebug = false;
};
