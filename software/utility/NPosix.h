// System calls and the signals that interrupt them.
#pragma once

#include <cerrno>

namespace NPosix
{
/// Repeats a system call for as long as a signal interrupts it: `RetryOnInterrupt([&] { return ::read(...);
/// })`. Never for close, whose descriptor is gone even when it reports EINTR, nor for connect, which goes on
/// by itself and is awaited by poll.
/// @returns the call's result, errno as the call left it
template <typename TCall>
auto RetryOnInterrupt(TCall call) -> decltype(call())
{
    auto result = call();
    while (result == -1 && errno == EINTR)
        result = call();
    return result;
}
} // namespace NPosix
