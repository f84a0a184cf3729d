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
    /// @throws CException "Socket %s is served by another process already", "%s exists and is no socket",
    ///                    "Socket name %s is too long: ...", and those of the system calls
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
    /// Set by an `Accept` that ran out of descriptors or memory: the listener is not to be watched until
    /// `Resume`.
    bool IsPaused() const noexcept { return mPaused; }
    bool Resume(); ///< ends a pause that has lasted long enough. @returns whether it ended

private:
    void Lock();
    [[noreturn]] void ThrowInUse() const;
    void RemoveStale() const;
    void Pause(int systemError);

    const std::string mName;
    ILog& mLog;
    CDescriptor mLock;
    CDescriptor mSocket;
    bool mPaused = false;
    bool mHasRunOut = false; // and said so
    std::chrono::steady_clock::time_point mPausedUntil;
};
