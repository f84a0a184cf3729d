// The signals that end the daemon, as something its loop can wait for.
#pragma once

#include "software/utility/CDescriptor.h"

/// Blocks SIGTERM and SIGINT for the calling thread, and for every thread started after it, and collects them
/// in a descriptor. They stay blocked when it goes: one that arrives while the daemon is ending (Ctrl-C and
/// the TERM of the script around it, say) does not cut that short.
class CSignalWatch
{
public:
    /// @throws CException "Unable to watch for signals" with the system error
    CSignalWatch();
    CSignalWatch(const CSignalWatch&) = delete;
    CSignalWatch& operator=(const CSignalWatch&) = delete;

    int GetDescriptor() const noexcept { return mSignals.Get(); } ///< readable once a signal has arrived
    int TakeSignal() noexcept;                                    ///< the number of one that arrived, else 0

private:
    CDescriptor mSignals;
};
