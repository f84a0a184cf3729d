// The clock of the kernel's ticks, typically 10 ms each.
#pragma once

#include "software/utility/IMonotonicClock.h"

#include <atomic>

/// Wraps after about 497 days at 100 ticks a second. May be used from any thread.
class CMonotonicClockLowRes : public IMonotonicClock
{
public:
    CMonotonicClockLowRes();

    /// @returns what `times` returns; the negated errno if it fails
    std::uint32_t GetCounts() const override;
    std::uint32_t GetFrequency() const override { return mCountsPerS; }

private:
    static std::atomic<std::uint32_t> mCountsPerS; // set by the first constructor
};
