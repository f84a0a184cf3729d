// A straight line from raw readings to temperatures.
#pragma once

class CTempLinearRule
{
public:
    CTempLinearRule(double gain, double offset) noexcept
        : mGain(gain)
        , mOffset(offset)
    {
    }

    /// Half up, then truncated; what no int can hold becomes the nearest one, what is not a number 0.
    int ProcessRawReading(int reading) const noexcept;
    double ProcessRawReading(double reading) const noexcept { return reading * mGain + mOffset; }

private:
    const double mGain;
    const double mOffset;
};
