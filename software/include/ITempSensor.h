// One temperature.
#pragma once

/// What a sensor can measure; a reading outside is none.
struct STempRange
{
    double mLowest;  ///< °C
    double mHighest; ///< °C
};

/// Used from the loop's thread; no operation may block.
class ITempSensor
{
public:
    static constexpr int kNoTemperature = -32768; ///< integer form of a reading that is missing

    virtual ~ITempSensor() = default;

    virtual double GetRealTemperature() const = 0; ///< °C; not a number when the reading is missing
    virtual int GetTemperature() const = 0;        ///< °C, truncated; `kNoTemperature` when it is missing
    virtual STempRange GetRange() const = 0;
    virtual unsigned GetAge() const = 0; ///< how many samples ago it was measured, 0 for the present one
};
