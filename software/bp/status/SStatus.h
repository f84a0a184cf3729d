// One thing that a projector tells about itself, and how bad it is.
#pragma once

#include <string>

/// How an item, or the worst item of a group, is doing. The numbers go over every wire; a higher one is
/// worse.
enum EStatusLevel : int
{
    eStatusOk = 0,
    eStatusWarning = 1, ///< goes on working, but somebody should look
    eStatusAlarm = 2,   ///< does not work as it should
};

/// An item of a group.
struct SStatus
{
    int mIndex = 0; ///< within its group
    std::string mGroup;
    EStatusLevel mStatus = eStatusOk;
    std::string mValue;       ///< for people, with its unit: "54.2 °C"
    std::string mDescription; ///< what the value is of: "Image device"
};

/// A group as the summary lists it.
struct SStatusGroup
{
    std::string mGroup; ///< what its items and subscriptions are found by
    std::string mName;  ///< for people
    EStatusLevel mStatus = eStatusOk;
    std::string mIcon; ///< path of a picture; may be empty
};
