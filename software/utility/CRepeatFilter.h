// Keeps a fault that repeats from flooding the log.
#pragma once

#include "software/include/ELogLevel.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

class IMonotonicClock;

/// Counts equal lines in windows of ten seconds, each starting with the first of them; lines that alternate
/// are told apart. At most 128 different lines are remembered, the oldest window ends early when there are
/// more. Not thread-safe.
class CRepeatFilter
{
public:
    /// What a window that ended has to say.
    struct SReport
    {
        ELogLevel mLevel = ELogLevel::Normal;
        std::string mText; ///< "Held back N repeats of: TEXT"
    };

    /// @param clock  not owned, must outlive the filter; it may wrap only while no line comes for longer
    explicit CRepeatFilter(const IMonotonicClock& clock) noexcept;

    void SetLimit(unsigned limit) noexcept { mLimit = limit; } ///< equal lines a window; 0 keeps all

    /// Whether the line is to be kept; if not, it was counted.
    bool Admit(ELogLevel level, std::string_view text);

    /// Takes the report of one window that has ended; called until it is false, before `Admit`.
    /// @param all  whether windows that still run are ended too
    bool TakeReport(SReport& report, bool all = false);

private:
    struct SWindow
    {
        std::uint32_t mStart; // counts
        ELogLevel mLevel;
        std::string mText;
        unsigned mKept;
        unsigned mHeld;
    };

    bool HasEnded(const SWindow& window) const;

    const IMonotonicClock& mClock;
    unsigned mLimit = 0;
    std::deque<SWindow> mWindows; // oldest first
};
