// How often somebody may try a password.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <unordered_map>

/// The delays that make guessing pointless. Each peer has its own, so that nobody delays anybody else.
struct STryDelays
{
    std::chrono::milliseconds mInterval{1000}; ///< between two tries of a peer
    unsigned mFreeFailures = 3;                ///< failures in a row that cost no more than that
    std::chrono::milliseconds mLongest{30000}; ///< to which it doubles with each further one
    std::chrono::milliseconds mMemory = std::chrono::minutes(15); ///< after which a silent peer is forgotten
};

/// When which peer may try next. A success clears the failures before it, unless they were about other users
/// too: who has one account must not clear the way to the others by it.
class CTryLimit
{
public:
    using Time = std::chrono::steady_clock::time_point;

    explicit CTryLimit(const STryDelays& delays)
        : mDelays(delays)
    {
    }

    Time GetNext(const std::string& peer) const; ///< when it may try; in the past for one that is unknown
    void Begin(const std::string& peer, Time now);
    void End(const std::string& peer, const std::string& user, bool isGood, Time now);

    std::size_t GetSize() const noexcept { return mPeers.size(); }
    static constexpr std::size_t kMaxPeers = 1024; ///< of more, the one whose delay ended first is forgotten

private:
    struct SPeer
    {
        Time mNext;
        Time mLast; // it did anything
        unsigned mFailures = 0;
        std::string mUser;          // whom the failures were about
        bool mHasManyUsers = false; // no single one
    };

    std::chrono::milliseconds GetDelay(unsigned failures) const;
    void MakeRoom(Time now);

    const STryDelays mDelays;
    std::unordered_map<std::string, SPeer> mPeers;
};
