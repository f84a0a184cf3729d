// Counts of a clock as seconds, milliseconds and microseconds, and back.
#pragma once

#include <cstdint>

/// Every interval of the house is converted here. A clock slower than the unit loses its first tick, so that
/// a wait is never shorter than asked: on 100 ticks a second one tick reads as 0 ms.
class CTickRate
{
public:
    /// @param countsPerS   ticks per second
    /// @throws CException  "Timer needs a clock that ticks" for 0
    explicit CTickRate(std::uint32_t countsPerS);

    std::uint32_t ToS(std::uint32_t counts) const noexcept { return counts / mCountsPerS; }
    std::uint64_t ToMs(std::uint32_t counts) const noexcept;
    std::uint64_t ToUs(std::uint32_t counts) const noexcept;

    /// The least number of counts that reads as at least this many microseconds.
    /// @param us  at most `GetWrapUs`
    std::uint32_t FromUs(std::uint64_t us) const noexcept;

    /// How long to wait until this many counts have gone by, rounded up.
    std::uint64_t ToWaitUs(std::uint32_t counts) const noexcept;

    /// The longest interval that can be measured, in whole seconds given in each unit.
    std::uint32_t GetWrapS() const noexcept { return mWrapS; }
    std::uint64_t GetWrapMs() const noexcept;
    std::uint64_t GetWrapUs() const noexcept;

    /// Refuses limits that cannot be measured.
    /// @throws CException "Timer resolution exceeded"
    void CheckS(std::uint32_t limit) const;
    void CheckMs(std::uint64_t limit) const;
    void CheckUs(std::uint64_t limit) const;

private:
    std::uint32_t mCountsPerS;
    std::uint32_t mCountsPerMs; // 0 for a clock below 1 kHz
    std::uint32_t mCountsPerUs; // 0 for a clock below 1 MHz
    std::uint32_t mWrapS;
};
