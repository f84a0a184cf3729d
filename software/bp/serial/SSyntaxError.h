// What is wrong with a message of a serial line.
#pragma once

struct SSyntaxError
{
    static constexpr int kNoValue = -1;

    const char* mText = "";
    int mValue = kNoValue; ///< belongs behind the text
};
