// A time-out that can be lengthened while it runs.
#pragma once

#include "software/utility/CTimer.h"

/// Runs for a base duration plus what was added since it was armed. Not armed when it is made. Durations are
/// milliseconds in 32 bits; longer ones become the longest (49.7 days).
class CTimerAdvanced
{
public:
    /// @param clock  not owned, must outlive the timer
    explicit CTimerAdvanced(const IMonotonicClock& clock);

    void Clear();    ///< no longer armed, nothing added; the base duration stays
    void ArmTimer(); ///< starts anew with the base duration alone
    void ArmTimerMs(std::uint32_t ms);
    void ArmTimerS(std::uint32_t s);
    void AddTimeMs(std::uint32_t ms);
    void AddTimeS(std::uint32_t s);
    void Reschedule(); ///< the same interval once more, without what was added

    bool IsArmed() const noexcept { return mArmed; }
    /// @param clear  whether a timer that has expired is cleared
    /// @throws CException "timer not armed"; "Timer resolution exceeded" for a duration beyond the clock's
    /// wrap
    bool IsExpired(bool clear = false);
    /// Time left, 0 when expired; whole seconds are cut.
    /// @throws CException as `IsExpired`
    std::uint64_t GetTimeRemainingMs() const;
    std::uint32_t GetTimeRemainingS() const;

private:
    std::uint64_t GetDuration() const; // ms

    bool mArmed = false;
    std::uint32_t mAddedMs = 0;
    std::uint32_t mBaseMs = 0;
    CTimer mTimer;
};
