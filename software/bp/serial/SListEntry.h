// One choice of a list control.
#pragma once

#include <string>

struct SListEntry
{
    int mValue = 0;       ///< the number that selects this entry
    int mTextId = 0;      ///< translatable name; 0: the literal text is the name
    int mHintId = 0;      ///< translatable hint; 0: none
    bool mVisible = true; ///< false: left out of lists that are shown
    bool mEnabled = true; ///< false: an ordinary change can not choose it
    std::string mText;    ///< literal name
    std::string mIcon;    ///< path of an icon
};
