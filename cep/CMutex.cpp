// The wait is measured by the steady clock.
#include "cep/CMutex.h"

#include <chrono>

using namespace LibMarlix;

bool CMutex::tryLock(int timeoutMs)
{
    return timeoutMs > 0 ? mMutex.try_lock_for(std::chrono::milliseconds(timeoutMs)) : mMutex.try_lock();
}
