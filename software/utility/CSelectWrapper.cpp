// Level-triggered epoll; the buffers grow when descriptors are added, so that a wait allocates nothing.
#include "software/utility/CSelectWrapper.h"

#include "software/utility/CException.h"

#include <algorithm>
#include <cerrno>
#include <climits>

namespace
{
constexpr char kSource[] = "software/utility/CSelectWrapper";

epoll_event MakeEvent(std::uint32_t events, std::uint64_t tag)
{
    epoll_event event{};
    event.events = events;
    event.data.u64 = tag;
    return event;
}

void RefuseWakeTag(int descriptor, std::uint64_t tag)
{
    if (tag == CSelectWrapper::kWakeTag)
        throw CException(__func__, kSource, __LINE__, false,
                         "Unable to watch descriptor %d: its tag stands for the wake descriptors",
                         descriptor);
}
} // namespace

CSelectWrapper::CSelectWrapper()
    : mEpoll(::epoll_create1(EPOLL_CLOEXEC))
{
    if (!mEpoll.IsOpen())
        throw CException(__func__, kSource, __LINE__, true, "Unable to create a select set");
}

void CSelectWrapper::Add(int descriptor, std::uint64_t tag)
{
    RefuseWakeTag(descriptor, tag);
    Control(EPOLL_CTL_ADD, descriptor, EPOLLIN, tag);
}

void CSelectWrapper::Watch(int descriptor, std::uint64_t tag, bool read, bool write)
{
    RefuseWakeTag(descriptor, tag);
    // What is not read hides the end of a connection behind it, so that has an event of its own.
    Control(EPOLL_CTL_MOD, descriptor, (read ? EPOLLIN : EPOLLRDHUP) | (write ? EPOLLOUT : 0U), tag);
}

void CSelectWrapper::AddWake(int descriptor)
{
    Control(EPOLL_CTL_ADD, descriptor, EPOLLIN, kWakeTag);
}

void CSelectWrapper::Remove(int descriptor) noexcept
{
    epoll_event unused{}; // kernels before 2.6.9 looked at it
    if (::epoll_ctl(mEpoll.Get(), EPOLL_CTL_DEL, descriptor, &unused) == 0)
        --mCount;
}

bool CSelectWrapper::Wait(unsigned timeoutMs)
{
    mReady.clear();
    mIsWoken = false;
    const int timeout = static_cast<int>(std::min<unsigned>(timeoutMs, INT_MAX));
    const int count = ::epoll_wait(mEpoll.Get(), mEvents.data(), static_cast<int>(mEvents.size()), timeout);
    if (count < 0 && errno != EINTR)
        throw CException(__func__, kSource, __LINE__, true, "Unable to wait for descriptors");
    for (int i = 0; i < count; ++i)
    {
        const epoll_event& event = mEvents[static_cast<std::size_t>(i)];
        if (event.data.u64 == kWakeTag)
            mIsWoken = true;
        else
            mReady.push_back({event.data.u64, (event.events & ~std::uint32_t{EPOLLOUT}) != 0,
                              (event.events & EPOLLOUT) != 0});
    }
    std::sort(mReady.begin(), mReady.end(),
              [](const SReady& left, const SReady& right) { return left.mTag < right.mTag; });
    return !mReady.empty();
}

void CSelectWrapper::Control(int operation, int descriptor, std::uint32_t events, std::uint64_t tag)
{
    if (operation == EPOLL_CTL_ADD)
        ReserveFor(mCount + 1);
    epoll_event event = MakeEvent(events, tag);
    if (::epoll_ctl(mEpoll.Get(), operation, descriptor, &event) != 0)
        throw CException(__func__, kSource, __LINE__, true, "Unable to watch descriptor %d", descriptor);
    if (operation == EPOLL_CTL_ADD)
        ++mCount;
}

void CSelectWrapper::ReserveFor(std::size_t descriptors)
{
    if (descriptors < mEvents.size())
        return;
    mEvents.resize(2 * mEvents.size());
    mReady.reserve(mEvents.size());
}
