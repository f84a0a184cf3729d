// A plain mutex.
#pragma once

#include <condition_variable>
#include <mutex>

namespace LibMarlix
{
/// Not recursive. Works with `std::lock_guard`.
class CMutex
{
public:
    void lock();
    void unlock();
    [[nodiscard]] bool tryLock() { return tryLock(0); }
    /// @param timeoutMs  longest wait, by a clock that nobody sets; 0 or less only tries
    [[nodiscard]] bool tryLock(int timeoutMs);

private:
    // Not std::timed_mutex: the call behind its timed wait is unknown to the thread sanitizer of g++ 12,
    // which then takes every unlock for a fault.
    std::mutex mGuard;
    std::condition_variable mReleased;
    bool mIsHeld = false;
};
} // namespace LibMarlix
