// Waiting for a projector, the same over every kind of link.
#pragma once

#include "apps/lanternctl/IProjectorLink.h"

#include <chrono>
#include <optional>
#include <string>

namespace NWait
{
using Deadline = std::optional<std::chrono::steady_clock::time_point>; ///< none: for ever

constexpr int kNoDescriptor = -1;
constexpr std::chrono::milliseconds kLogInPatience{60000}; ///< others may have guessed before, which delays

/// @param timeout  nothing: for ever
Deadline After(std::optional<std::chrono::milliseconds> timeout);
inline bool HasPassed(const Deadline& deadline)
{
    return deadline && std::chrono::steady_clock::now() >= *deadline;
}

/// Waits until a descriptor can be read, or written too where that is wanted.
/// @param interrupt  a descriptor that ends the wait when it is readable, or `kNoDescriptor`
/// @returns `Change` when it can; `Elapsed` once the deadline has passed, even if it can: a peer that talks
///          without pause would never let it pass otherwise
IProjectorLink::EWait ForInput(int descriptor, const Deadline& deadline, int interrupt,
                               bool orOutput = false);

// The ways in which a projector is not there; all throw `CCommandFailure` (no connection).

[[noreturn]] void FailConnection(const std::string& sentence);
[[noreturn]] void FailNoConnection(const std::string& name, const std::string& reason);
[[noreturn]] void FailNoAnswer(const std::string& name, std::chrono::milliseconds timeout);
[[noreturn]] void FailLost(const std::string& name);
} // namespace NWait
