// Properties of the process that a long-running program sets for itself.
#pragma once

#include <cstddef>

namespace NProcess
{
/// Raises the limit on open files as far as the system lets a program do that by itself.
/// @returns the limit then in force
std::size_t RaiseDescriptorLimit() noexcept;

/// Lets waits of the calling thread end when they are due, not up to 50 µs later.
void SetFinestTimerSlack() noexcept;

void IgnoreSigPipe() noexcept; ///< a peer that is gone shows as an error of the write instead
} // namespace NProcess
