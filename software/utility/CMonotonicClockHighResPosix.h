// The clock of short times, in ticks of 10 ns.
#pragma once

#include "software/utility/IMonotonicClock.h"

/// Wraps about every 42.9 s. May be used from any thread.
class CMonotonicClockHighResPosix : public IMonotonicClock
{
public:
    /// @throws CException "Can not open high resolution system monotonic clock" with the system error, "High
    /// resolution monotonic timer could not meet the requirement of 1ns resolution" (above 10 ns)
    CMonotonicClockHighResPosix();

    /// @throws CException "Can not open high resolution system monotonic clock" with the system error
    std::uint32_t GetCounts() const override;
    std::uint32_t GetFrequency() const override { return mCountsPerS; }

private:
    const std::uint32_t mCountsPerS;
};
