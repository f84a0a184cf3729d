// What the scheduler and its watcher both know.
#pragma once

#include "software/utility/CLogger.h"
#include "software/utility/CTimer.h"

#include <cstddef>
#include <cstdint>
#include <string>

#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>

class IMonotonicClock;

/// The job that started last, and the watch over it. The scheduler's thread tells of each start; the watcher
/// thread runs `Run` and reports a stall through its own logger, "JobWatcher".
class CJobShedulerSharedData
{
public:
    static constexpr std::uint32_t kStallS = 15;           ///< without a start, this is a stall
    static constexpr std::size_t kMessageBufferSize = 512; ///< bytes, of the logger

    /// @param clock  what the seconds are counted with; must outlive this
    explicit CJobShedulerSharedData(const IMonotonicClock& clock);
    CJobShedulerSharedData(const CJobShedulerSharedData&) = delete;
    CJobShedulerSharedData& operator=(const CJobShedulerSharedData&) = delete;

    /// A job starts now. Allocates only for a name longer than any before.
    void SetStarted(std::int32_t index, const std::string& name);

    void Run();   ///< checks once a second until `Stop`; the body of the watcher's thread
    void Check(); ///< one look: reports a stall that began or ended
    void Stop();  ///< ends `Run` at once, or before it begins; from any thread

private:
    std::uint32_t GetAge(); // seconds; with mMutex held

    CLogger mLog{"JobWatcher", kMessageBufferSize};
    std::int32_t mIndex = 0;
    std::string mName;
    std::uint32_t mStartSecond = 0;
    boost::mutex mMutex; // guards these three, the timer and mStopped
    CTimer mTimer;
    boost::condition_variable mWake;
    bool mStopped = false;
    bool mStalled = false; // the watcher's alone
};
