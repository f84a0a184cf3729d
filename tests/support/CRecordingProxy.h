// A hardware side that keeps what it was asked and refuses when told to.
#pragma once

#include "software/bp/serial/IControlProxy.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

class CRecordingProxy : public IControlProxy
{
public:
    bool ApplyValue(const std::string& code, int value) override
    {
        mCalls.push_back(code + "=" + std::to_string(value));
        if (mOnApply)
            mOnApply(value);
        return mAccepts;
    }
    bool ApplyText(const std::string& code, const std::string& text) override
    {
        mCalls.push_back(code + "=" + text);
        return mAccepts;
    }

    /// What was applied since the last call, "CODE=VALUE" each.
    std::vector<std::string> Take() { return std::exchange(mCalls, {}); }

    bool mAccepts = true;
    std::function<void(int)> mOnApply;

private:
    std::vector<std::string> mCalls;
};
