// The tick clock that every time-out is measured with.
#pragma once

#include <cstdint>

/// Counts ticks since an arbitrary point; wraps modulo 2^32.
class IMonotonicClock
{
public:
    virtual ~IMonotonicClock() = default;
    virtual std::uint32_t GetCounts() const = 0;
    virtual std::uint32_t GetFrequency() const = 0; ///< ticks per second
};
