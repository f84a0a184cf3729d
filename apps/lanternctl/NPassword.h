// Where a password comes from.
#pragma once

#include <string>

namespace NPassword
{
/// Asks at the terminal, without echo; reads one line of standard input when that is none.
/// @param twice  at the terminal, because a mistake would not be seen
/// @throws CCommandFailure (wrong usage) when there is none, or the two differ
std::string Ask(const std::string& question, bool twice);

/// What LANTERN_PASSWORD says, else as `Ask` does, once.
std::string GetForLogIn(const std::string& user);
} // namespace NPassword
