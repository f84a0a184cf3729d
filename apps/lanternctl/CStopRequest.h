// What ends a sub-command that would go on for ever.
#pragma once

#include "software/utility/CDescriptor.h"
#include "software/utility/CSelectWrapper.h"

/// One descriptor that becomes readable when the user presses Ctrl-C (SIGINT), asks the program to end
/// (SIGTERM), or closes what standard output goes to (`lanternctl watch LUM | head`). From its construction
/// on these two signals do nothing else, in the thread that made it.
class CStopRequest
{
public:
    /// @throws CException "Unable to wait for signals" with the system error
    CStopRequest();

    int GetDescriptor() const noexcept { return mSources.GetDescriptor(); }

private:
    CDescriptor mSignals;
    CSelectWrapper mSources;
};
