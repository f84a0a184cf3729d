// A pass reads the clock once, and again after each job that ran: that reading ends the run, begins the job's
// next period, and is what the jobs behind it are compared with.
#include "software/utility/CJobScheduler.h"

#include "software/include/ILog.h"
#include "software/utility/CException.h"
#include "software/utility/IMonotonicClock.h"
#include "software/utility/NPosix.h"

#include <algorithm>
#include <exception>
#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

namespace
{
constexpr char kSource[] = "software/utility/CJobScheduler";
constexpr char kInterrupted[] = "Regular processing interrupted due to important job injection";
constexpr std::uint32_t kUsPerMs = 1000;
constexpr std::uint64_t kLongestPeriodUs = UINT32_MAX;
} // namespace

const CMonotonicClockLowRes CJobScheduler::msSlowClock;

CJobScheduler::SJob::SJob(const std::string& name, const Function& function, std::uint32_t period)
    : mPeriod(period)
    , mStatistics(kStatisticsCapacity)
    , mName(name)
    , mFunction(function)
{
}

CJobScheduler::CJobScheduler(const IMonotonicClock& clock, ILog& log)
    : mClock(clock)
    , mRate(clock.GetFrequency())
    , mWake(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
    , mLog(log)
{
    if (!mWake.IsOpen())
        throw CException(__func__, kSource, __LINE__, true, "Unable to open a wake descriptor for jobs");
    mWatcher = boost::thread([this] { mShared.Run(); });
}

// A lock or a join that fails here is a thread gone wild: ending is all that is left.
// NOLINTNEXTLINE(bugprone-exception-escape)
CJobScheduler::~CJobScheduler()
{
    mShared.Stop();
    const boost::this_thread::disable_interruption untilItHasEnded; // joining is an interruption point
    mWatcher.join();
}

std::uint32_t CJobScheduler::ToPeriodUs(std::uint32_t periodMs) const
{
    const std::uint64_t period = std::uint64_t{periodMs} * kUsPerMs;
    mRate.CheckUs(period);
    if (period > kLongestPeriodUs)
        throw CException(__func__, kSource, __LINE__, false, "Timer resolution exceeded");
    return static_cast<std::uint32_t>(period);
}

void CJobScheduler::RegisterJob(const std::string& name, const Function& function, std::uint32_t periodMs)
{
    auto job = std::make_unique<SJob>(name, function, ToPeriodUs(periodMs));
    mDue.reserve(mJobs.size() + 1); // so that both lists grow or none
    mJobs.push_back(std::move(job));
    mDue.push_back({mClock.GetCounts(), mRate.FromUs(mJobs.back()->mPeriod)});
}

void CJobScheduler::UnregisterJob(const std::string& name)
{
    auto job = std::make_unique<SJob>(
        "RemoveJob", [this] { RemoveJob(); }, 0);
    const boost::mutex::scoped_lock lock(mSlotMutex);
    mRemoveName = name;
    Inject(std::move(job));
}

void CJobScheduler::RunOneImportantJob(const std::string& name, const Function& function)
{
    auto job = std::make_unique<SJob>(name, function, 0);
    const boost::mutex::scoped_lock lock(mSlotMutex);
    Inject(std::move(job));
}

void CJobScheduler::Inject(std::unique_ptr<SJob> job)
{
    if (mImportantJob)
        throw CException("RunOneImportantJob", kSource, __LINE__, false,
                         "Job Scheduler already has an important job: %s", mImportantJob->mName.c_str());
    mImportantJob = std::move(job);
    mIsPending.store(true, std::memory_order_release);
    const std::uint64_t one = 1;
    NPosix::RetryOnInterrupt([&] { return ::write(mWake.Get(), &one, sizeof one); });
}

void CJobScheduler::ClearSlot()
{
    std::unique_ptr<SJob> done; // destroyed without the lock: what its function holds may call back
    const boost::mutex::scoped_lock lock(mSlotMutex);
    done.swap(mImportantJob);
    mIsPending.store(false, std::memory_order_release);
    std::uint64_t count = 0;
    NPosix::RetryOnInterrupt([&] { return ::read(mWake.Get(), &count, sizeof count); });
}

void CJobScheduler::Run()
{
    if (IsImportantJobPending())
    {
        RunImportantJob();
        if (IsImportantJobPending())
        {
            mLog.LogDebug(kInterrupted);
            return;
        }
    }
    // After the important job: a job that it registered would seem to be 42 s old to an earlier reading.
    std::uint32_t now = mClock.GetCounts();
    for (std::size_t i = 0; i < mDue.size(); ++i)
    {
        if (now - mDue[i].mStart < mDue[i].mPeriod || mJobs[i]->mFunction.empty())
            continue;
        RunJob(i, now);
        if (IsImportantJobPending())
        {
            mLog.LogDebug(kInterrupted);
            return;
        }
    }
}

void CJobScheduler::RunJob(std::size_t index, std::uint32_t& now)
{
    SJob& job = *mJobs[index]; // stays where it is when the job registers another one
    const std::uint64_t elapsed = mRate.ToUs(now - mDue[index].mStart);
    job.mLastLateness = static_cast<std::uint32_t>(elapsed - job.mPeriod);
    mShared.SetStarted(static_cast<std::int32_t>(index), job.mName);
    Call(job);
    now = mClock.GetCounts();
    job.mLastDuration = static_cast<std::uint32_t>(mRate.ToUs(now - mDue[index].mStart) - elapsed);
    job.mStatistics.push_back({job.mLastLateness, job.mLastDuration});
    mDue[index].mStart = now;
}

void CJobScheduler::Call(const SJob& job)
{
    try
    {
        job.mFunction();
    }
    catch (const std::exception& error)
    {
        mLog.Log("Uncaught %s", error.what());
    }
}

void CJobScheduler::RunImportantJob()
{
    // It stays in its slot, unchanged, until it has run. Only this thread takes it out.
    mShared.SetStarted(0, mImportantJob->mName);
    mLog.LogDebug("Running important job");
    try
    {
        Call(*mImportantJob);
    }
    catch (...) // not a std::exception: it passes through, but must not come back at every pass
    {
        ClearSlot();
        throw;
    }
    ClearSlot();
    mLog.LogDebug("Important job done");
}

void CJobScheduler::RemoveJob()
{
    std::string name;
    {
        const boost::mutex::scoped_lock lock(mSlotMutex);
        name.swap(mRemoveName);
    }
    if (name.empty())
        return;
    const auto found =
        std::find_if(mJobs.begin(), mJobs.end(), [&](const auto& job) { return job && job->mName == name; });
    if (found == mJobs.end())
        return;
    const auto index = found - mJobs.begin();
    found->reset(); // what it holds may ask for jobs; the list does not move meanwhile
    mJobs.erase(mJobs.begin() + index);
    mDue.erase(mDue.begin() + index);
}

const CJobScheduler::SJob& CJobScheduler::FindJob(std::size_t index) const
{
    const std::unique_ptr<SJob>& job = mJobs.at(index);
    if (!job)
        throw CException(__func__, kSource, __LINE__, false, "Invalid job %d", static_cast<int>(index));
    return *job;
}

void CJobScheduler::ChangeJobPeriod(std::size_t index, std::uint32_t periodMs)
{
    FindJob(index);
    const std::uint32_t period = ToPeriodUs(periodMs);
    mJobs[index]->mPeriod = period;
    mDue[index].mPeriod = mRate.FromUs(period);
}

std::size_t CJobScheduler::GetStatBufSize(std::size_t index) const
{
    return FindJob(index).mStatistics.size();
}

CJobScheduler::SJobData CJobScheduler::GetJobRecord(std::size_t index, std::size_t record) const
{
    return FindJob(index).mStatistics.at(record);
}

SJobStatistics CJobScheduler::GetJobStatistics(std::size_t index) const
{
    const SJob& job = FindJob(index);
    SJobStatistics result;
    if (job.mStatistics.empty())
        return result;
    const SJobData first = job.mStatistics.front();
    result.mMinLateness = result.mMaxLateness = first.mLateness;
    result.mMinDuration = result.mMaxDuration = first.mDuration;
    std::uint32_t lateness = 0; // sums wrap as all counts do
    std::uint32_t duration = 0;
    for (const SJobData& data : job.mStatistics)
    {
        result.mMinLateness = std::min(result.mMinLateness, data.mLateness);
        result.mMaxLateness = std::max(result.mMaxLateness, data.mLateness);
        result.mMinDuration = std::min(result.mMinDuration, data.mDuration);
        result.mMaxDuration = std::max(result.mMaxDuration, data.mDuration);
        lateness += data.mLateness;
        duration += data.mDuration;
    }
    result.mRecords = static_cast<std::uint32_t>(job.mStatistics.size());
    result.mPeriod = job.mPeriod;
    result.mMeanLateness = lateness / result.mRecords;
    result.mMeanDuration = duration / result.mRecords;
    return result;
}

std::optional<std::uint64_t> CJobScheduler::GetTimeToNextJobUs() const
{
    if (IsImportantJobPending())
        return 0;
    const std::uint32_t now = mClock.GetCounts();
    std::optional<std::uint32_t> nearest; // counts
    for (std::size_t i = 0; i < mDue.size(); ++i)
    {
        const std::uint32_t elapsed = now - mDue[i].mStart;
        const std::uint32_t left = elapsed >= mDue[i].mPeriod ? 0 : mDue[i].mPeriod - elapsed;
        if (left < nearest.value_or(UINT32_MAX) && mJobs[i] && !mJobs[i]->mFunction.empty())
            nearest = left;
    }
    if (!nearest)
        return std::nullopt;
    return mRate.ToWaitUs(*nearest);
}
