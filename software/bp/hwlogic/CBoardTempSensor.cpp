// A count that stands still makes the reading older by one sample.
#include "software/bp/hwlogic/CBoardTempSensor.h"

#include "software/bp/hwlogic/NTempReading.h"

#include <limits>

CBoardTempSensor::CBoardTempSensor(const ICoolingBoard& board, EThermalZone zone)
    : mBoard(board)
    , mZone(zone)
    , mCelsius(std::numeric_limits<double>::quiet_NaN())
    , mCount(board.GetSampleCount(zone))
{
}

void CBoardTempSensor::Sample()
{
    const std::uint32_t count = mBoard.GetSampleCount(mZone);
    if (count != mCount)
        mAge = 0;
    else if (mAge < std::numeric_limits<unsigned>::max())
        ++mAge;
    mCount = count;
    mCelsius = mBoard.GetTemperature(mZone);
}

int CBoardTempSensor::GetTemperature() const
{
    return NTempReading::Truncate(mCelsius);
}
