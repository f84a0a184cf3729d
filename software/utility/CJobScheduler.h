// Runs the periodic work of the controller from one thread.
#pragma once

#include "software/utility/CDescriptor.h"
#include "software/utility/CJobShedulerSharedData.h"
#include "software/utility/CMonotonicClockLowRes.h"
#include "software/utility/CTickRate.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <boost/circular_buffer.hpp>
#include <boost/function.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread.hpp>

class ILog;
class IMonotonicClock;

/// What the last runs of a job took; times in microseconds. All zero as long as it has not run.
struct SJobStatistics
{
    std::uint32_t mRecords = 0;
    std::uint32_t mPeriod = 0;
    std::uint32_t mMinLateness = 0;
    std::uint32_t mMaxLateness = 0;
    std::uint32_t mMeanLateness = 0;
    std::uint32_t mMinDuration = 0;
    std::uint32_t mMaxDuration = 0;
    std::uint32_t mMeanDuration = 0;
};

/// The host calls `Run` from its loop; each call runs the jobs whose period has elapsed, in the order of
/// their registration. A job is due one period after its last run ended. A thread of its own reports when no
/// job has started for 15 seconds. `RunOneImportantJob` and `UnregisterJob` may be called from any thread and
/// from a job, all else from the host's thread, and `Run` not from within a job. A running scheduler
/// allocates nothing.
class CJobScheduler
{
public:
    using Function = boost::function<void()>;

    /// One run of a job, in microseconds.
    struct SJobData
    {
        std::uint32_t mLateness; ///< how long past its due time it started
        std::uint32_t mDuration; ///< how long it took
    };

    /// A registered job.
    struct SJob
    {
        SJob(const std::string& name, const Function& function, std::uint32_t period);

        std::uint32_t mPeriod; // us
        std::uint32_t mLastLateness = 0;
        std::uint32_t mLastDuration = 0;
        boost::circular_buffer<SJobData> mStatistics;
        std::string mName;
        Function mFunction; // an empty one makes the job inert
    };

    static constexpr std::size_t kStatisticsCapacity = 50; ///< records of a job; the oldest is overwritten

    /// @param clock         what periods are measured with; like the log not owned, must outlive the
    /// scheduler
    /// @throws CException   "Unable to open a wake descriptor for jobs" with the system error
    CJobScheduler(const IMonotonicClock& clock, ILog& log);
    CJobScheduler(const CJobScheduler&) = delete;
    CJobScheduler& operator=(const CJobScheduler&) = delete;
    // NOLINTNEXTLINE(bugprone-exception-escape): as in the source
    ~CJobScheduler(); ///< deletes all jobs; the watcher's thread has ended when it returns

    /// Appends a job. Its index is its place in the list; names need not be unique.
    /// @param function     an empty one makes the job inert
    /// @param periodMs     0 runs it at every pass
    /// @throws CException  "Timer resolution exceeded" for a period that the clock cannot measure
    void RegisterJob(const std::string& name, const Function& function, std::uint32_t periodMs);

    /// Removes the first job of that name at the next pass, by an important job "RemoveJob". The name is
    /// kept before that may be refused, so a removal that is still pending then removes this job instead.
    /// @throws CException as `RunOneImportantJob`
    void UnregisterJob(const std::string& name);

    /// Runs a function once, ahead of the jobs of the next pass.
    /// @throws CException "Job Scheduler already has an important job: %s", until that one has run
    void RunOneImportantJob(const std::string& name, const Function& function);

    /// One pass: the important job, then every job that is due. An important job that comes in between ends
    /// the pass. What a job throws is logged when it is a std::exception, and passes through otherwise.
    void Run();

    std::size_t GetNumJobs() const noexcept { return mJobs.size(); }

    /// These throw std::out_of_range for an index beyond the list, and CException "Invalid job %d" for a job
    /// that is just being destroyed.
    const SJob& FindJob(std::size_t index) const;
    const std::string& GetJobName(std::size_t index) const { return FindJob(index).mName; }
    /// Takes effect at once: the running period is not begun anew. Throws as `RegisterJob` too.
    void ChangeJobPeriod(std::size_t index, std::uint32_t periodMs);
    std::size_t GetStatBufSize(std::size_t index) const; ///< records held now, at most 50
    /// @param record  0 is the oldest
    /// @throws std::out_of_range "circular_buffer" for a record that is not held
    SJobData GetJobRecord(std::size_t index, std::size_t record) const;
    SJobStatistics GetJobStatistics(std::size_t index) const;

    /// Microseconds until the next job is due, 0 when one is or an important job is pending; none without
    /// jobs.
    std::optional<std::uint64_t> GetTimeToNextJobUs() const;
    /// Readable while an important job is pending, for a host that waits.
    int GetWakeDescriptor() const noexcept { return mWake.Get(); }

    static const CMonotonicClockLowRes msSlowClock; ///< what the watcher counts its seconds with

private:
    // What a pass looks at for every job, close together. Counts of the clock.
    struct SDue
    {
        std::uint32_t mStart;  // when the period began
        std::uint32_t mPeriod; // as counts
    };

    void RunImportantJob();
    void RemoveJob();
    void RunJob(std::size_t index, std::uint32_t& now);
    void Call(const SJob& job);
    void Inject(std::unique_ptr<SJob> job); // with mSlotMutex held
    void ClearSlot();
    bool IsImportantJobPending() const noexcept { return mIsPending.load(std::memory_order_acquire); }
    std::uint32_t ToPeriodUs(std::uint32_t periodMs) const;

    const IMonotonicClock& mClock;
    const CTickRate mRate;
    std::vector<std::unique_ptr<SJob>> mJobs; // in the order of registration
    std::vector<SDue> mDue;                   // of the same jobs
    std::string mRemoveName;
    std::unique_ptr<SJob> mImportantJob;
    boost::mutex mSlotMutex;             // guards these two and the writing of the next two
    std::atomic<bool> mIsPending{false}; // so that a pass need not lock to see an empty slot
    CDescriptor mWake;
    ILog& mLog;
    CJobShedulerSharedData mShared{msSlowClock};
    boost::thread mWatcher;
};
