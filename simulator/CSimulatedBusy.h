// How a simulated master of a serial bus behaves.
#pragma once

/// Busy for a number of looks: however fast the clock of a test runs, so many polls see it busy.
class CSimulatedBusy
{
public:
    enum class EMode
    {
        Normal,
        Slow,     ///< ready after many polls
        Stuck,    ///< never ready with what it began
        NotReady, ///< never ready to begin
        Failing,  ///< ends, but not well
    };

    void SetMode(EMode mode) noexcept { mMode = mode; }
    EMode GetMode() const noexcept { return mMode; }

    void Start() noexcept { mPollsLeft = mMode == EMode::Slow ? kSlowPolls : kNormalPolls; }
    void Stop() noexcept { mPollsLeft = 0; }

    bool Poll() noexcept ///< one look; @returns whether it is still busy
    {
        if (mPollsLeft == 0)
            return false;
        if (mMode != EMode::Stuck)
            --mPollsLeft;
        return true;
    }

private:
    static constexpr unsigned kNormalPolls = 1;
    static constexpr unsigned kSlowPolls = 20;

    EMode mMode = EMode::Normal;
    unsigned mPollsLeft = 0;
};
