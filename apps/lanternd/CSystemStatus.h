// What the daemon itself has to report: the group "System".
#pragma once

#include "software/bp/status/SStatus.h"

#include <string>

class CStatusDb;

/// The things reported, by their index in the group.
enum class ESystemItem : int
{
    ControlValues, ///< the file that keeps them
    Accounts,      ///< the file that holds them
};

/// Used from the loop's thread.
class CSystemStatus
{
public:
    /// Adds the group, with every item OK. @param status  not owned, must outlive it
    explicit CSystemStatus(CStatusDb& status);

    /// @param text  what is wrong, as a sentence; empty when nothing is
    void Report(ESystemItem item, EStatusLevel level, const std::string& text);

private:
    CStatusDb& mStatus;
};
