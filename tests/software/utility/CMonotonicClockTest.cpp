// The clocks are compared with the system they read.
#include "software/utility/CMonotonicClockHighResPosix.h"
#include "software/utility/CMonotonicClockLowRes.h"

#include <ctime>

#include <gtest/gtest.h>
#include <sys/times.h>
#include <unistd.h>

TEST(MonotonicClock, LowResCountsTheTicksOfTheSystem)
{
    const CMonotonicClockLowRes clock;
    EXPECT_EQ(clock.GetFrequency(), static_cast<std::uint32_t>(::sysconf(_SC_CLK_TCK)));
    tms unused;
    const auto before = static_cast<std::uint32_t>(::times(&unused));
    const std::uint32_t counts = clock.GetCounts();
    const auto after = static_cast<std::uint32_t>(::times(&unused));
    EXPECT_LE(counts - before, after - before);
}

TEST(MonotonicClock, HighResCountsTenNanosecondsModulo32Bits)
{
    const CMonotonicClockHighResPosix clock;
    EXPECT_EQ(clock.GetFrequency(), 100000000u);
    const auto read = []
    {
        timespec now{};
        ::clock_gettime(CLOCK_MONOTONIC, &now);
        return static_cast<std::uint32_t>(now.tv_sec * 100000000LL + now.tv_nsec / 10);
    };
    const std::uint32_t before = read();
    const std::uint32_t counts = clock.GetCounts();
    const std::uint32_t after = read();
    EXPECT_LE(counts - before, after - before);
}
