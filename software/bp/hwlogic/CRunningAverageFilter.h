// Smooths whole-numbered samples.
#pragma once

#include <cstdint>

/// A running average in unsigned arithmetic of 32 bits, truncated at each step, so that it comes to rest
/// below a value that it approaches from below.
class CRunningAverageFilter
{
public:
    /// @param depth         weight of what came before, above 0
    /// @throws CException   "A running average needs a depth above 0"
    explicit CRunningAverageFilter(std::uint32_t depth);

    /// @returns the average with this sample; the first sample is the average
    int GetAverage(int sample) noexcept;

private:
    const std::uint32_t mDepth;
    std::uint32_t mAverage = 0;
    bool mIsPrimed = false;
};
