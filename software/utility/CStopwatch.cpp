// The start moves by what was told, not to the present.
#include "software/utility/CStopwatch.h"

#include "software/utility/IMonotonicClock.h"

namespace
{
constexpr std::uint64_t kMsPerS = 1000;
}

CStopwatch::CStopwatch(const IMonotonicClock& clock)
    : mClock(clock)
    , mStart(clock.GetCounts())
{
}

std::chrono::milliseconds CStopwatch::Take()
{
    const std::uint32_t elapsed = mClock.GetCounts() - mStart;
    const std::uint64_t frequency = mClock.GetFrequency();
    const std::uint64_t ms = elapsed * kMsPerS / frequency;
    mStart += static_cast<std::uint32_t>((ms * frequency + kMsPerS - 1) / kMsPerS);
    return std::chrono::milliseconds(ms);
}
