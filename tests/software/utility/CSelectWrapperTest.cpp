#include "software/utility/CSelectWrapper.h"

#include "software/utility/CException.h"
#include "tests/support/CAllocationCount.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <thread>

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{
CDescriptor MakeEvent(unsigned value = 0)
{
    return CDescriptor(::eventfd(value, EFD_CLOEXEC | EFD_NONBLOCK));
}

struct SPair
{
    SPair()
    {
        int ends[2] = {-1, -1};
        ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends);
        mOurs.Reset(ends[0]);
        mTheirs.Reset(ends[1]);
    }
    CDescriptor mOurs;
    CDescriptor mTheirs;
};

/// What is ready: "TAGr", "TAGw" or "TAGrw" each.
std::string Wait(CSelectWrapper& select, unsigned timeoutMs = 0)
{
    const bool ready = select.Wait(timeoutMs);
    EXPECT_EQ(ready, !select.GetReady().empty());
    std::string text;
    for (const CSelectWrapper::SReady& one : select.GetReady())
        text += std::to_string(one.mTag) + (one.mReadable ? "r" : "") + (one.mWritable ? "w" : "") + " ";
    return text;
}

template <typename TCall>
std::string GetMessage(TCall call)
{
    try
    {
        call();
    }
    catch (const CException& error)
    {
        return error.GetMessage() + " " + std::to_string(error.GetSystemError());
    }
    return "nothing was thrown";
}

int MillisecondsOf(const std::function<void()>& action)
{
    const auto start = std::chrono::steady_clock::now();
    action();
    return static_cast<int>(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start)
            .count());
}
} // namespace

TEST(SelectWrapper, ReportsWhatWasAskedForInOrderOfTag)
{
    CSelectWrapper select;
    SPair quiet;
    SPair talking;
    SPair writable;
    select.Add(writable.mOurs.Get(), 9);
    select.Add(talking.mOurs.Get(), 7);
    select.Add(quiet.mOurs.Get(), 3);
    EXPECT_EQ(Wait(select), "");
    ASSERT_EQ(::send(talking.mTheirs.Get(), "x", 1, MSG_NOSIGNAL), 1);
    select.Watch(writable.mOurs.Get(), 2, true, true); // under another tag from now on
    EXPECT_EQ(Wait(select, 1000), "2w 7r ");
    EXPECT_EQ(Wait(select), "2w 7r "); // stays ready until it is read
    select.Watch(talking.mOurs.Get(), 7, false, true);
    select.Watch(writable.mOurs.Get(), 2, true, false);
    EXPECT_EQ(Wait(select), "7w ");
    select.Remove(talking.mOurs.Get());
    select.Remove(talking.mOurs.Get());
    EXPECT_EQ(Wait(select), "");
}

TEST(SelectWrapper, ClosedPeerIsReadableEvenForAWriter)
{
    CSelectWrapper select;
    SPair reading;
    SPair writing;
    SPair neither;
    select.Add(reading.mOurs.Get(), 1);
    select.Add(writing.mOurs.Get(), 2);
    select.Watch(writing.mOurs.Get(), 2, false, true);
    select.Add(neither.mOurs.Get(), 3);
    select.Watch(neither.mOurs.Get(), 3, false, false);
    for (SPair* pair : {&reading, &writing, &neither})
        pair->mTheirs.Reset();
    EXPECT_EQ(Wait(select, 1000), "1r 2rw 3r ");
}

TEST(SelectWrapper, WakeDescriptorEndsTheWaitAndIsNotReported)
{
    CSelectWrapper select;
    const CDescriptor wake = MakeEvent();
    const CDescriptor other = MakeEvent(1);
    select.AddWake(wake.Get());
    std::thread waker(
        [&]
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            ::eventfd_write(wake.Get(), 1);
        });
    const int waited = MillisecondsOf([&] { EXPECT_EQ(Wait(select, 10000), ""); });
    waker.join();
    EXPECT_LT(waited, 5000);
    EXPECT_TRUE(select.IsWoken());
    select.Add(other.Get(), 4);
    EXPECT_EQ(Wait(select, 10000), "4r "); // both are ready, one is reported
    select.Remove(other.Get());
    select.Remove(wake.Get());
    EXPECT_GE(MillisecondsOf([&] { EXPECT_EQ(Wait(select, 30), ""); }), 29);
}

TEST(SelectWrapper, RefusalsNameTheDescriptor)
{
    CSelectWrapper select;
    const CDescriptor event = MakeEvent();
    const std::string text = "Unable to watch descriptor " + std::to_string(event.Get());
    select.Remove(event.Get()); // never added
    EXPECT_EQ(GetMessage([&] { select.Watch(event.Get(), 1, true, false); }), text + " 2");
    select.Add(event.Get(), 1);
    EXPECT_EQ(GetMessage([&] { select.Add(event.Get(), 1); }), text + " 17");
    EXPECT_EQ(GetMessage([&] { select.Add(-1, 1); }), "Unable to watch descriptor -1 9");
    EXPECT_THROW(select.Watch(event.Get(), CSelectWrapper::kWakeTag, true, false), CException);
    EXPECT_EQ(Wait(select), "");
}

TEST(SelectWrapper, ElevenHundredReadyDescriptorsAreReportedAtOnce)
{
    constexpr std::size_t kCount = 1100;
    rlimit old{};
    ::getrlimit(RLIMIT_NOFILE, &old);
    rlimit more = old;
    more.rlim_cur = std::min<rlim_t>(more.rlim_max, 2 * kCount);
    ::setrlimit(RLIMIT_NOFILE, &more);
    {
        CSelectWrapper select;
        std::vector<CDescriptor> events;
        for (std::size_t i = 0; i < kCount; ++i)
        {
            events.push_back(MakeEvent(1));
            ASSERT_TRUE(events.back().IsOpen());
            select.Add(events.back().Get(), kCount - i);
        }
        EXPECT_GE(events.back().Get(), FD_SETSIZE);
        for (int round = 0; round < 3; ++round)
        {
            const CAllocationCount allocations;
            EXPECT_TRUE(select.Wait(0));
            EXPECT_EQ(allocations.Get(), 0u);
            ASSERT_EQ(select.GetReady().size(), kCount);
            for (std::size_t i = 0; i < kCount; ++i)
                ASSERT_EQ(select.GetReady()[i].mTag, i + 1);
        }
        for (std::size_t i = 0; i + 1 < kCount; ++i)
            select.Remove(events[i].Get());
        EXPECT_EQ(Wait(select), "1r ");
    }
    ::setrlimit(RLIMIT_NOFILE, &old);
}

TEST(SelectWrapper, SetsCanBeNested)
{
    CSelectWrapper inner;
    CSelectWrapper outer;
    const CDescriptor event = MakeEvent();
    inner.Add(event.Get(), 1);
    outer.Add(inner.GetDescriptor(), 5);
    EXPECT_EQ(Wait(outer), "");
    ::eventfd_write(event.Get(), 1);
    EXPECT_EQ(Wait(outer), "5r ");
    eventfd_t value = 0;
    ::eventfd_read(event.Get(), &value);
    EXPECT_EQ(Wait(outer), "");
}

TEST(SelectWrapper, SignalsEndTheWaitWithNothingReady)
{
    struct sigaction action = {};
    struct sigaction old = {};
    action.sa_handler = [](int) {};
    ASSERT_EQ(::sigaction(SIGUSR1, &action, &old), 0); // without SA_RESTART
    CSelectWrapper select;
    const CDescriptor event = MakeEvent();
    select.Add(event.Get(), 1);
    std::atomic<bool> done{false};
    std::thread signaller(
        [&, target = ::pthread_self()]
        {
            while (!done)
            {
                ::pthread_kill(target, SIGUSR1);
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
    int waited = 0;
    for (int i = 0; i < 20; ++i)
        waited += MillisecondsOf([&] { EXPECT_EQ(Wait(select, 10000), ""); });
    ::eventfd_write(event.Get(), 1);
    EXPECT_EQ(Wait(select, 10000), "1r ");
    done = true;
    signaller.join();
    ::sigaction(SIGUSR1, &old, nullptr);
    EXPECT_LT(waited, 10000);
}
