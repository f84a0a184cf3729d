// A clock that the test drives.
#pragma once

#include "software/utility/IMonotonicClock.h"

class CManualClock : public IMonotonicClock
{
public:
    explicit CManualClock(std::uint32_t frequency, std::uint32_t counts = 0)
        : mFrequency(frequency)
        , mCounts(counts)
    {
    }
    std::uint32_t GetCounts() const override { return mCounts; }
    std::uint32_t GetFrequency() const override { return mFrequency; }

    void Set(std::uint32_t counts) { mCounts = counts; }
    void Advance(std::uint32_t counts) { mCounts += counts; } // wraps as a real counter does
    void AdvanceMs(std::uint32_t ms) { mCounts += ms * (mFrequency / 1000); }

private:
    std::uint32_t mFrequency;
    std::uint32_t mCounts;
};
