// Checking who somebody is, without making anybody wait.
#pragma once

#include "software/include/EAccessLevel.h"

#include <functional>
#include <string>

/// What became of a log-in.
struct SLogInResult
{
    EAccessLevel mLevel = eAccessNone; ///< `eAccessNone`: refused
    std::string mMessage;              ///< why it was refused, for front ends that pass it on
};

/// Checks a name and a password against the accounts. Hashing a password takes long on purpose, so the answer
/// may come later; front ends let the peer wait meanwhile and go on with all others.
class ILogIn
{
public:
    using Done = std::function<void(const SLogInResult& result)>;

    virtual ~ILogIn() = default;

    /// Starts a check.
    /// @param peer  who asks, for the limit on tries; the same text for every try of one peer
    /// @param done  called exactly once, on the loop's thread: before this returns or later. It must stand
    ///              being called after its peer has gone
    virtual void LogIn(const std::string& user, const std::string& password, const std::string& peer,
                       Done done) = 0;
};
