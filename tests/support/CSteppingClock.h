// A clock that moves by itself, for code that polls until a time-out.
#pragma once

#include "software/utility/IMonotonicClock.h"

/// Each look at it takes one tick.
class CSteppingClock : public IMonotonicClock
{
public:
    explicit CSteppingClock(std::uint32_t frequency)
        : mFrequency(frequency)
    {
    }
    std::uint32_t GetCounts() const override { return mCounts++; }
    std::uint32_t GetFrequency() const override { return mFrequency; }

private:
    const std::uint32_t mFrequency;
    mutable std::uint32_t mCounts = 0;
};
