// One wait for many descriptors.
#pragma once

#include "software/utility/CDescriptor.h"

#include <cstddef>
#include <cstdint>
#include <vector>

#include <sys/epoll.h>

/// Waits until one of its descriptors is ready. It stands on epoll, so neither FD_SETSIZE nor the number of
/// descriptors that stay silent matters, and what is added stays added across waits.
/// Level-triggered: a descriptor that is not emptied is ready again at the next wait. Not thread-safe; the
/// descriptors are not owned and must be removed before they are closed.
class CSelectWrapper
{
public:
    struct SReady
    {
        std::uint64_t mTag = 0; ///< as given to `Add`
        /// Bytes, an end of file, a connection to accept, or an error to be read. The end of a connection, by
        /// a hang-up or an error or because the peer will send nothing more, is reported even where reading
        /// was not asked for: who does not look at it will see it at every wait.
        bool mReadable = false;
        bool mWritable = false; ///< only where `Watch` asked for it
    };

    /// @throws CException "Unable to create a select set" with the system error
    CSelectWrapper();

    static constexpr std::uint64_t kWakeTag = UINT64_MAX; ///< the one tag that `Add` and `Watch` refuse

    /// Watches a descriptor for reading; a wait reports it under its tag. Regular files cannot be waited for.
    /// @throws CException "Unable to watch descriptor %d" with the system error: added already, or not open
    void Add(int descriptor, std::uint64_t tag);
    /// Chooses what of an added descriptor is reported; after `Add` it is reading alone.
    /// @throws CException "Unable to watch descriptor %d" with the system error: never added, or not open
    void Watch(int descriptor, std::uint64_t tag, bool read, bool write);
    /// A wake descriptor ends a wait as soon as it is readable and is never reported: its owner looks at it.
    void AddWake(int descriptor);
    void Remove(int descriptor) noexcept; ///< nothing happens for a descriptor that was not added

    /// Waits at most this long (0 looks only) and fills the list of what is ready, in ascending order of tag.
    /// An interrupting signal ends the wait early with nothing ready. One wait reports all that is ready, and
    /// allocates nothing.
    /// @returns whether any descriptor other than the wake descriptors is ready
    bool Wait(unsigned timeoutMs);
    const std::vector<SReady>& GetReady() const noexcept { return mReady; }
    /// Whether any wake descriptor was readable at the last wait, so that a host looks at its own only then.
    bool IsWoken() const noexcept { return mIsWoken; }

    /// The set itself as a descriptor: readable as long as anything in it is ready, so that a loop which
    /// waits on many front ends adds each of them once.
    int GetDescriptor() const noexcept { return mEpoll.Get(); }

private:
    void Control(int operation, int descriptor, std::uint32_t events, std::uint64_t tag);
    void ReserveFor(std::size_t descriptors);

    static constexpr std::size_t kFirstRoom = 16; // events

    CDescriptor mEpoll;
    std::size_t mCount = 0; // descriptors in the set, wake descriptors included
    std::vector<epoll_event> mEvents = std::vector<epoll_event>(kFirstRoom); // always more than mCount
    std::vector<SReady> mReady;
    bool mIsWoken = false;
};
