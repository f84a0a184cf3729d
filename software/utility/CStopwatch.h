// How much time went by since the last look.
#pragma once

#include <chrono>
#include <cstdint>

class IMonotonicClock;

/// Loses nothing: what is short of a millisecond counts at the next look. Right as long as the clock wraps at
/// most once between two looks. Used from one thread.
class CStopwatch
{
public:
    explicit CStopwatch(const IMonotonicClock& clock); ///< not owned, must outlive it; starts now

    std::chrono::milliseconds Take(); ///< since the last call, or since it was made

private:
    const IMonotonicClock& mClock;
    std::uint32_t mStart; // counts
};
