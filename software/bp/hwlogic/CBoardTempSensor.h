// The sensor of one zone, as the board reports it.
#pragma once

#include "software/bp/hwlogic/ICoolingBoard.h"
#include "software/include/ITempSensor.h"

#include <cstdint>

/// Tells a reading's age by the board's count of measurements. The board is not owned and must outlive it.
class CBoardTempSensor : public ITempSensor
{
public:
    CBoardTempSensor(const ICoolingBoard& board, EThermalZone zone);

    void SetRange(const STempRange& range) noexcept { mRange = range; }
    void Sample(); ///< once a period: takes over what the board has measured

    double GetRealTemperature() const override { return mCelsius; }
    int GetTemperature() const override;
    STempRange GetRange() const override { return mRange; }
    unsigned GetAge() const override { return mAge; }

private:
    const ICoolingBoard& mBoard;
    const EThermalZone mZone;
    STempRange mRange{}; // nothing is inside until it is set
    double mCelsius;     // not a number before the first sample
    std::uint32_t mCount;
    unsigned mAge = 0;
};
