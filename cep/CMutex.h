// A plain mutex.
#pragma once

#include <mutex>

namespace LibMarlix
{
/// Not recursive. Works with `std::lock_guard`.
class CMutex
{
public:
    void lock() { mMutex.lock(); }
    void unlock() { mMutex.unlock(); }
    [[nodiscard]] bool tryLock() { return mMutex.try_lock(); }
    /// @param timeoutMs  longest wait; 0 or less only tries
    [[nodiscard]] bool tryLock(int timeoutMs);

private:
    std::timed_mutex mMutex;
};
} // namespace LibMarlix
