// One row a peer, and a bound on the rows.
#include "software/bp/security/CTryLimit.h"

#include <algorithm>
#include <iterator>

CTryLimit::Time CTryLimit::GetNext(const std::string& peer) const
{
    const auto found = mPeers.find(peer);
    return found == mPeers.end() ? Time::min() : found->second.mNext;
}

void CTryLimit::Begin(const std::string& peer, Time now)
{
    auto found = mPeers.find(peer);
    if (found != mPeers.end() && now - found->second.mLast > mDelays.mMemory)
        found->second = SPeer();
    if (found == mPeers.end())
    {
        MakeRoom(now);
        found = mPeers.emplace(peer, SPeer()).first;
    }
    found->second.mLast = now;
    found->second.mNext = now + GetDelay(found->second.mFailures);
}

void CTryLimit::End(const std::string& peer, const std::string& user, bool isGood, Time now)
{
    const auto found = mPeers.find(peer);
    if (found == mPeers.end())
        return;
    SPeer& row = found->second;
    row.mLast = now;
    if (isGood && !row.mHasManyUsers && (row.mFailures == 0 || row.mUser == user))
        row.mFailures = 0;
    if (isGood)
        return;
    row.mHasManyUsers = row.mHasManyUsers || (row.mFailures > 0 && row.mUser != user);
    row.mUser = user;
    ++row.mFailures;
    row.mNext = std::max(row.mNext, now + GetDelay(row.mFailures));
}

std::chrono::milliseconds CTryLimit::GetDelay(unsigned failures) const
{
    std::chrono::milliseconds delay = mDelays.mInterval;
    for (unsigned i = mDelays.mFreeFailures; i < failures && delay < mDelays.mLongest; ++i)
        delay *= 2;
    return std::min(delay, std::max(mDelays.mLongest, mDelays.mInterval));
}

void CTryLimit::MakeRoom(Time now)
{
    if (mPeers.size() < kMaxPeers)
        return;
    for (auto row = mPeers.begin(); row != mPeers.end();)
        row = now - row->second.mLast > mDelays.mMemory ? mPeers.erase(row) : std::next(row);
    if (mPeers.size() < kMaxPeers)
        return;
    mPeers.erase(std::min_element(mPeers.begin(), mPeers.end(),
                                  [](const auto& left, const auto& right)
                                  { return left.second.mNext < right.second.mNext; }));
}
