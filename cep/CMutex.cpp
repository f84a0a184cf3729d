// A state, and a condition for those who wait until it changes.
#include "cep/CMutex.h"

#include <algorithm>
#include <chrono>

using namespace LibMarlix;

void CMutex::lock()
{
    std::unique_lock<std::mutex> guard(mGuard);
    mReleased.wait(guard, [this] { return !mIsHeld; });
    mIsHeld = true;
}

void CMutex::unlock()
{
    const std::lock_guard<std::mutex> guard(mGuard);
    mIsHeld = false;
    mReleased.notify_one(); // still guarded: whoever is woken may destroy the mutex
}

bool CMutex::tryLock(int timeoutMs)
{
    std::unique_lock<std::mutex> guard(mGuard);
    const std::chrono::milliseconds timeout(std::max(timeoutMs, 0));
    if (mIsHeld && !mReleased.wait_for(guard, timeout, [this] { return !mIsHeld; }))
        return false;
    mIsHeld = true;
    return true;
}
