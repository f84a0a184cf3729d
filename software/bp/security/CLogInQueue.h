// Log-ins without waiting: one thread hashes, the loop goes on.
#pragma once

#include "software/bp/security/CTryLimit.h"
#include "software/include/EError.h"
#include "software/include/ILogIn.h"
#include "software/utility/CDescriptor.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

class CSecurityManager;
class ILog;

/// What became of a change of password.
struct SPasswordResult
{
    EError mError = eErrorNone; ///< as `CSecurityManager::ChangePassword`; 118 when it was not tried
    std::string mMessage;       ///< why not
};

/// Tries wait here until their peer may try again (`CTryLimit`), and are made one after the other. Of those
/// that wait there are at most `kMaxWaiting`, and `kMaxWaitingOfPeer` of one peer; what is more is refused at
/// once. Its operations are called from the loop's thread, and so is whoever waits for a result.
class CLogInQueue : public ILogIn
{
public:
    /// @param manager  not owned, must outlive this
    CLogInQueue(CSecurityManager& manager, const STryDelays& delays = STryDelays());
    CLogInQueue(const CLogInQueue&) = delete;
    CLogInQueue& operator=(const CLogInQueue&) = delete;
    ~CLogInQueue() override; ///< as `Stop`

    /// Who asks for a try. One whose owner has gone is not made, and frees its place.
    using Owner = std::weak_ptr<const void>;
    using Changed = std::function<void(const SPasswordResult& result)>;

    void LogIn(const std::string& user, const std::string& password, const std::string& peer,
               Done done) override;
    void LogIn(const std::string& user, const std::string& password, const std::string& peer, Owner owner,
               Done done);
    /// Counts as a try, because it tells whether the current password is right.
    /// @param changed  as the `Done` of a log-in
    void ChangePassword(const std::string& user, const std::string& current, const std::string& next,
                        const std::string& peer, Owner owner, Changed changed);

    int GetDescriptor() const noexcept
    {
        return mEvent.Get();
    }              ///< readable when `Update` has something to do
    void Update(); ///< one step of the loop: hands out results, and tells of the accounts' problem
    void Stop();   ///< refuses what waits; ends the thread, which takes as long as one try

    /// Is told why nobody can log in (`CSecurityManager::GetProblem`), and with an empty text that it is
    /// over: what raises and clears an alarm. Told at once when there is a problem already.
    using ProblemObserver = std::function<void(const std::string& problem)>;
    void SetProblemObserver(ProblemObserver observer);

    static constexpr std::size_t kMaxWaiting = 64;
    static constexpr std::size_t kMaxWaitingOfPeer = 4;

private:
    struct STry
    {
        std::string mPeer;
        std::string mUser;
        Owner mOwner;
        std::function<bool()> mMake; // on the thread; whether the password was right
        std::function<void(const char* why)> mRefuse;
        std::function<void()> mFinish; // on the loop's thread
    };

    void Add(STry next);
    bool HasRoom(const std::string& peer); // under the mutex, as the next two
    void DropAbandoned();
    std::deque<STry>::iterator FindDue(CTryLimit::Time now, CTryLimit::Time& next);
    void Run();
    void TellProblem();
    void Signal() noexcept;

    CSecurityManager& mManager;
    const CDescriptor mEvent;
    ProblemObserver mProblemObserver;
    std::string mProblem; // as told last

    std::mutex mMutex; // guards the four below
    CTryLimit mLimit;
    std::deque<STry> mWaiting;
    std::deque<STry> mDone;
    bool mStop = false;
    std::condition_variable mWake;
    std::thread mThread; // last: it uses all the others
};
