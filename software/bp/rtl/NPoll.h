// Looking again and again until something is so, or the time is up.
#pragma once

#include "software/utility/CTimer.h"

#include <cstdint>

namespace NPoll
{
/// Looks at once, then again for as long as the timer (which the caller has armed) has not expired, then one
/// last time: who was kept from running by others still sees what came in time.
/// @param look  returns whether it is so
/// @throws CException as `CTimer::HasTimerExpiredMs` and the look
template <typename TLook>
bool UntilMs(const CTimer& timer, std::uint64_t limitMs, TLook look)
{
    bool isSo = look();
    for (bool isLast = false; !isSo && !isLast; isSo = look())
        isLast = timer.HasTimerExpiredMs(limitMs);
    return isSo;
}
} // namespace NPoll
