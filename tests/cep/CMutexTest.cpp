// Who may hold it, and how long another waits.
#include "cep/CMutex.h"

#include <chrono>
#include <future>
#include <gtest/gtest.h>

using LibMarlix::CMutex;

TEST(Mutex, AnotherThreadGetsItOnlyWhenItIsFree)
{
    CMutex mutex;
    // @returns whether another thread got it, and how long it tried
    const auto tryElsewhere = [&](auto attempt)
    {
        const auto start = std::chrono::steady_clock::now();
        const bool isTaken = std::async(std::launch::async,
                                        [&]
                                        {
                                            const bool isOurs = attempt();
                                            if (isOurs)
                                                mutex.unlock();
                                            return isOurs;
                                        })
                                 .get();
        return std::make_pair(isTaken, std::chrono::steady_clock::now() - start);
    };
    constexpr int kWaitMs = 20;
    mutex.lock();
    EXPECT_FALSE(tryElsewhere([&] { return mutex.tryLock(); }).first);
    EXPECT_FALSE(tryElsewhere([&] { return mutex.tryLock(0); }).first);
    EXPECT_FALSE(tryElsewhere([&] { return mutex.tryLock(-1); }).first);
    const auto [isTaken, waited] = tryElsewhere([&] { return mutex.tryLock(kWaitMs); });
    EXPECT_FALSE(isTaken);
    EXPECT_GE(waited, std::chrono::milliseconds(kWaitMs));

    auto waiter = std::async(std::launch::async,
                             [&] { return tryElsewhere([&] { return mutex.tryLock(60'000); }).first; });
    mutex.unlock();
    EXPECT_TRUE(waiter.get());
}
