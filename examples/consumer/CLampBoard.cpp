// A board that only remembers; a real one would write registers where this one stores members.
#include "CLampBoard.h"

bool CLampBoard::ApplyValue(const std::string& code, int value)
{
    if (code == "LAM")
    {
        mLit = value != 0;
        return true;
    }
    if (code == "CUR")
    {
        mCurrent = value;
        return true;
    }
    // Switching the mode of a burning lamp would break it: the board says no, and the control answers 112.
    return code == "MOD" && !mLit;
}

bool CLampBoard::ApplyText(const std::string&, const std::string&)
{
    return false;
}
