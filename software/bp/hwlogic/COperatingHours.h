// Counts how long the projector has been on.
#pragma once

#include <chrono>
#include <string>

class CEventDispatcher;

/// Adds to a read-only, persistent control while another one says that the projector is on. What is short of
/// one more digit is lost at a restart. The dispatcher is not owned and must outlive it. Used from the loop's
/// thread.
class COperatingHours
{
public:
    /// @param counter  control that shows hours, with any number of decimals
    /// @param power    control that is not 0 while the projector is on
    COperatingHours(CEventDispatcher& dispatcher, const std::string& counter, const std::string& power);

    void Advance(std::chrono::milliseconds elapsed); ///< time since the last call

private:
    CEventDispatcher& mDispatcher;
    const std::string mCounter;
    const std::string mPower;
    std::chrono::milliseconds mUncounted{0};
};
