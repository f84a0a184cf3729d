// The names are copied under the mutex; nothing is logged while it is held.
#include "software/utility/CJobShedulerSharedData.h"

#include <boost/chrono/duration.hpp>

namespace
{
constexpr boost::chrono::seconds kCheckPeriod(1);
constexpr std::uint32_t kRestartS = 24 * 60 * 60;
} // namespace

CJobShedulerSharedData::CJobShedulerSharedData(const IMonotonicClock& clock)
    : mTimer(clock)
{
}

void CJobShedulerSharedData::SetStarted(std::int32_t index, const std::string& name)
{
    const boost::mutex::scoped_lock lock(mMutex);
    mIndex = index;
    mName = name;
    mStartSecond = mTimer.GetElapsedS();
}

void CJobShedulerSharedData::Run()
{
    boost::mutex::scoped_lock lock(mMutex);
    while (!mStopped)
    {
        lock.unlock();
        Check();
        lock.lock();
        mWake.wait_for(lock, kCheckPeriod, [this] { return mStopped; });
    }
}

void CJobShedulerSharedData::Stop()
{
    const boost::mutex::scoped_lock lock(mMutex);
    mStopped = true;
    mWake.notify_all();
}

std::uint32_t CJobShedulerSharedData::GetAge()
{
    const std::uint32_t now = mTimer.GetElapsedS();
    const std::uint32_t age = now - mStartSecond;
    if (now >= kRestartS)
    {
        // Where the clock wraps, after some 497 days, the seconds would jump back to 0 and every age with
        // them; the start moves below 0 instead, which the difference does not mind.
        mTimer.ArmTimer();
        mStartSecond -= now;
    }
    return age;
}

void CJobShedulerSharedData::Check()
{
    boost::mutex::scoped_lock lock(mMutex);
    const std::uint32_t age = GetAge();
    const bool isStalled = age >= kStallS;
    if (isStalled == mStalled)
        return;
    mStalled = isStalled;
    const std::int32_t index = mIndex;
    const std::string name = mName;
    lock.unlock();
    if (isStalled)
        mLog.Log("=====Scheduler stall detected in job: %s[%d]. Last updated %dsec ago.", name.c_str(), index,
                 static_cast<int>(age));
    else
        mLog.Log("=====Scheduler stall recovered, latest running job: %s[%d].", name.c_str(), index);
}
