// Response times of one run.
#pragma once

#include <chrono>
#include <vector>

/// Keeps every sample, so that a quantile is exact and recording one costs a store.
class CLatencies
{
public:
    using Duration = std::chrono::steady_clock::duration;

    /// Takes the samples of another.
    void Add(const CLatencies& other)
    {
        mSamples.insert(mSamples.end(), other.mSamples.begin(), other.mSamples.end());
    }
    void Add(Duration latency) { mSamples.push_back(latency); }
    std::size_t GetCount() const noexcept { return mSamples.size(); }

    /// @param fraction  0.5 for the median, 0.99 for the slowest hundredth; 0 to 1
    /// @returns microseconds; 0 without samples
    double GetQuantileUs(double fraction);

private:
    std::vector<Duration> mSamples;
};
