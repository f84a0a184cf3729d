// Turns a measured quantity into a status that does not flicker.
#pragma once

#include "software/bp/status/SStatus.h"

#include <array>
#include <chrono>
#include <cstddef>

/// When a quantity is too high, in its own unit. For one that must not be too low, watch what it lacks.
struct SLimits
{
    double mWarning;  ///< above it: a warning
    double mAlarm;    ///< above it: an alarm; at least `mWarning`
    double mDeadBand; ///< how far below a limit it has to come before the status improves; at least 0
    std::chrono::milliseconds mHold{0}; ///< how long it has to stay above a limit before that counts
};

/// Used from one thread; it takes no locks.
class CLimitWatch
{
public:
    /// @throws CException "Limits of a status are out of order (%g, %g, dead band %g)", also for what is no
    ///         number
    explicit CLimitWatch(const SLimits& limits);

    /// One reading. What is not a number is an alarm at once: nobody knows how hot a thing without a sensor
    /// is. An improvement counts at once, too.
    /// @param elapsed  time since the reading before
    EStatusLevel Update(double reading, std::chrono::milliseconds elapsed);

    EStatusLevel GetStatus() const noexcept { return mStatus; }
    const SLimits& GetLimits() const noexcept { return mLimits; }

private:
    static constexpr std::size_t kLimits = 2; // the warning and the alarm

    const SLimits mLimits;
    EStatusLevel mStatus = eStatusOk;
    std::array<std::chrono::milliseconds, kLimits> mAbove{}; // for how long above each
};
