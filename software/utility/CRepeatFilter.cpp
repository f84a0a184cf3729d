// All windows are of one length, so that they end in the order in which they started.
#include "software/utility/CRepeatFilter.h"

#include "software/utility/IMonotonicClock.h"

#include <algorithm>

namespace
{
constexpr std::uint32_t kWindowS = 10;
constexpr std::size_t kMaxWindows = 128;
} // namespace

CRepeatFilter::CRepeatFilter(const IMonotonicClock& clock) noexcept
    : mClock(clock)
{
}

bool CRepeatFilter::Admit(ELogLevel level, std::string_view text)
{
    if (mLimit == 0)
        return true;
    const auto window = std::find_if(mWindows.begin(), mWindows.end(),
                                     [&](const SWindow& w) { return w.mLevel == level && w.mText == text; });
    if (window == mWindows.end())
    {
        mWindows.push_back({mClock.GetCounts(), level, std::string(text), 1, 0});
        return true;
    }
    const bool keep = window->mKept < mLimit;
    ++(keep ? window->mKept : window->mHeld);
    return keep;
}

bool CRepeatFilter::TakeReport(SReport& report, bool all)
{
    while (!mWindows.empty() && (all || mWindows.size() >= kMaxWindows || HasEnded(mWindows.front())))
    {
        const SWindow window = std::move(mWindows.front());
        mWindows.pop_front();
        if (window.mHeld == 0)
            continue;
        report.mLevel = window.mLevel;
        report.mText = "Held back " + std::to_string(window.mHeld) + " repeats of: " + window.mText;
        return true;
    }
    return false;
}

bool CRepeatFilter::HasEnded(const SWindow& window) const
{
    return mClock.GetCounts() - window.mStart >= kWindowS * mClock.GetFrequency();
}
