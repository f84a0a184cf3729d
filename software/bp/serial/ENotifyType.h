// What of a control changed.
#pragma once

/// Bits; a notification made by a change has one of them, one that tells the whole state has all.
enum ENotifyType : unsigned
{
    eNotifyValue = 1, ///< value or text
    eNotifyEnabled = 2,
    eNotifyRange = 4, ///< range, soft range or soft value
    eNotifyList = 8,
    eNotifyAll = 15,
};
