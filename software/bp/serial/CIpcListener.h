// The listening socket of the control process.
#pragma once

#include "software/utility/CDescriptor.h"

#include <chrono>
#include <string>

class ILog;

/// A Unix stream listener that no second process can take and that no crash leaves in the way: a lock file,
/// held for life, says that somebody serves the name. Accepting pauses while the process is out of
/// descriptors.
class CIpcListener
{
public:
    /// @throws CException "Socket %s is served by another process already", "%s exists and is no socket", ...
    CIpcListener(const std::string& socketName, ILog& log);
    CIpcListener(const CIpcListener&) = delete;
    CIpcListener& operator=(const CIpcListener&) = delete;
    ~CIpcListener(); ///< removes the socket, never the lock file

    int Get() const noexcept { return mSocket.Get(); }
    const std::string& GetName() const noexcept { return mName; }

    /// Takes the next waiting client, non-blocking.
    /// @param peer  name of its socket, or "pid N" when it has none
    /// @returns not open when there is none, or when accepting has to pause
    CDescriptor Accept(std::string& peer);
    /// Set by an `Accept` that ran out of descriptors or memory: do not watch the listener until `MayResume`.
    bool IsPaused() const noexcept { return mPaused; }
    bool MayResume() const noexcept; ///< the pause has lasted long enough for another try

private:
    void Lock();
    void RemoveStale() const;
    void Listen();
    void Pause(int systemError);

    const std::string mName;
    ILog& mLog;
    CDescriptor mLock;
    CDescriptor mSocket;
    bool mBound = false;
    bool mPaused = false;
    bool mToldPause = false;
    std::chrono::steady_clock::time_point mPausedSince;
};
