// What the closures of a try share is touched by one thread at a time: the mutex hands them over.
#include "software/bp/security/CLogInQueue.h"

#include "software/bp/security/CSecret.h"
#include "software/bp/security/CSecurityManager.h"
#include "software/utility/CException.h"
#include "software/utility/NPosix.h"

#include <algorithm>
#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

namespace
{
constexpr char kSource[] = "software/bp/security/CLogInQueue";
constexpr char kTooMany[] = "Too many log-ins are waiting; try again later";
constexpr char kStopped[] = "The projector is being stopped";

int OpenEvent()
{
    const int event = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (event < 0)
        throw CException(__func__, kSource, __LINE__, true, "Unable to create an event for log-ins");
    return event;
}
} // namespace

CLogInQueue::CLogInQueue(CSecurityManager& manager, const STryDelays& delays)
    : mManager(manager)
    , mEvent(OpenEvent())
    , mLimit(delays)
    , mThread([this] { Run(); })
{
}

CLogInQueue::~CLogInQueue()
{
    Stop();
}

void CLogInQueue::LogIn(const std::string& user, const std::string& password, const std::string& peer,
                        Done done)
{
    const auto always = std::make_shared<int>();
    LogIn(user, password, peer, always,
          [always, done = std::move(done)](const SLogInResult& result) { done(result); });
}

void CLogInQueue::LogIn(const std::string& user, const std::string& password, const std::string& peer,
                        Owner owner, Done done)
{
    const auto result = std::make_shared<SLogInResult>();
    STry next{peer, user, std::move(owner), {}, {}, {}};
    next.mMake = [this, result, user, secret = std::make_shared<CSecret>(password)]
    {
        EAccessLevel level = eAccessNone;
        if (!mManager.Login(user, secret->Get(), level, result->mMessage))
            return false;
        result->mLevel = level;
        return true;
    };
    next.mRefuse = [result](const char* why) { result->mMessage = why; };
    next.mFinish = [result, done = std::move(done)] { done(*result); };
    Add(std::move(next));
}

void CLogInQueue::ChangePassword(const std::string& user, const std::string& current, const std::string& next,
                                 const std::string& peer, Owner owner, Changed changed)
{
    const auto result = std::make_shared<SPasswordResult>();
    STry step{peer, user, std::move(owner), {}, {}, {}};
    step.mMake = [this, result, user, old = std::make_shared<CSecret>(current),
                  fresh = std::make_shared<CSecret>(next)]
    {
        result->mError = mManager.ChangePassword(user, old->Get(), fresh->Get(), result->mMessage);
        return result->mError != eErrorAccessGroup;
    };
    step.mRefuse = [result](const char* why)
    {
        result->mError = eErrorSystemBusy;
        result->mMessage = why;
    };
    step.mFinish = [result, changed = std::move(changed)] { changed(*result); };
    Add(std::move(step));
}

void CLogInQueue::Add(STry next)
{
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (mStop || !HasRoom(next.mPeer))
        {
            next.mRefuse(mStop ? kStopped : kTooMany);
            mDone.push_back(std::move(next)); // later, so that a loop of refusals has its turns too
            Signal();
            return;
        }
        mWaiting.push_back(std::move(next));
    }
    mWake.notify_one();
}

bool CLogInQueue::HasRoom(const std::string& peer)
{
    DropAbandoned();
    const auto ofPeer = std::count_if(mWaiting.begin(), mWaiting.end(),
                                      [&](const STry& other) { return other.mPeer == peer; });
    return mWaiting.size() < kMaxWaiting && static_cast<std::size_t>(ofPeer) < kMaxWaitingOfPeer;
}

void CLogInQueue::DropAbandoned()
{
    mWaiting.erase(std::remove_if(mWaiting.begin(), mWaiting.end(),
                                  [](const STry& other) { return other.mOwner.expired(); }),
                   mWaiting.end());
}

// @param next  when one of those that wait may be made, if none may now
std::deque<CLogInQueue::STry>::iterator CLogInQueue::FindDue(CTryLimit::Time now, CTryLimit::Time& next)
{
    DropAbandoned();
    next = CTryLimit::Time::max();
    for (auto candidate = mWaiting.begin(); candidate != mWaiting.end(); ++candidate)
    {
        const CTryLimit::Time due = mLimit.GetNext(candidate->mPeer);
        if (due <= now)
            return candidate;
        next = std::min(next, due);
    }
    return mWaiting.end();
}

void CLogInQueue::Run()
{
    std::unique_lock<std::mutex> lock(mMutex);
    while (!mStop)
    {
        CTryLimit::Time next;
        const auto due = FindDue(std::chrono::steady_clock::now(), next);
        if (due == mWaiting.end())
        {
            if (mWaiting.empty())
                mWake.wait(lock);
            else
                mWake.wait_until(lock, next);
            continue;
        }
        STry step = std::move(*due);
        mWaiting.erase(due);
        mLimit.Begin(step.mPeer, std::chrono::steady_clock::now());
        lock.unlock();
        const bool isGood = step.mMake();
        step.mMake = nullptr; // with the password
        lock.lock();
        mLimit.End(step.mPeer, step.mUser, isGood, std::chrono::steady_clock::now());
        mDone.push_back(std::move(step));
        Signal();
    }
}

void CLogInQueue::Update()
{
    eventfd_t count = 0;
    static_cast<void>(NPosix::RetryOnInterrupt([&] { return ::eventfd_read(mEvent.Get(), &count); }));
    std::deque<STry> done;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        done.swap(mDone);
    }
    for (const STry& step : done)
        step.mFinish();
    if (count != 0)
        TellProblem();
}

void CLogInQueue::Stop()
{
    if (!mThread.joinable())
        return;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mStop = true;
    }
    mWake.notify_one();
    mThread.join();
    for (STry& step : mWaiting) // nobody else is left to take them
    {
        step.mRefuse(kStopped);
        mDone.push_back(std::move(step));
    }
    mWaiting.clear();
    Update();
}

void CLogInQueue::SetProblemObserver(ProblemObserver observer)
{
    mProblemObserver = std::move(observer);
    mProblem.clear();
    TellProblem();
}

void CLogInQueue::TellProblem()
{
    std::string problem = mManager.GetProblem();
    if (!mProblemObserver || problem == mProblem)
        return;
    mProblem = std::move(problem);
    mProblemObserver(mProblem);
}

void CLogInQueue::Signal() noexcept
{
    // A full counter is readable, which is all that is wanted.
    static_cast<void>(NPosix::RetryOnInterrupt([&] { return ::eventfd_write(mEvent.Get(), 1); }));
}
