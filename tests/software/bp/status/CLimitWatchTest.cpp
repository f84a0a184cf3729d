// A quantity near its limit.
#include "software/bp/status/CLimitWatch.h"

#include "software/utility/CException.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>
#include <vector>

using namespace std::chrono_literals;

namespace
{
constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();
}

TEST(LimitWatch, StatusFollowsTheReadingAndDoesNotFlickerAtALimit)
{
    CLimitWatch watch({60.0, 68.0, 3.0});
    const std::pair<double, EStatusLevel> readings[] = {
        {60.0, eStatusOk},      {60.1, eStatusWarning},    {59.9, eStatusWarning}, {60.1, eStatusWarning},
        {57.0, eStatusWarning}, {56.9, eStatusOk},         {60.0, eStatusOk},      {70.0, eStatusAlarm},
        {67.9, eStatusAlarm},   {65.0, eStatusAlarm},      {64.9, eStatusWarning}, {67.0, eStatusWarning},
        {20.0, eStatusOk},      {kNoNumber, eStatusAlarm}, {66.0, eStatusAlarm},   {20.0, eStatusOk},
    };
    for (const auto& [reading, status] : readings)
        EXPECT_EQ(watch.Update(reading, 1s), status) << reading;
}

TEST(LimitWatch, AHoldTimeLetsAShortExcursionPass)
{
    CLimitWatch watch({0.0, 0.0, 5.0, 3s});
    EXPECT_EQ(watch.Update(1.0, 2s), eStatusOk);
    EXPECT_EQ(watch.Update(0.0, 1ms), eStatusOk); // starts again
    EXPECT_EQ(watch.Update(1.0, 2999ms), eStatusOk);
    EXPECT_EQ(watch.Update(1.0, 1ms), eStatusAlarm);
    EXPECT_EQ(watch.Update(-5.0, 1ms), eStatusAlarm);
    EXPECT_EQ(watch.Update(-5.1, 1ms), eStatusOk);
}

TEST(LimitWatch, LimitsOutOfOrderAreRefused)
{
    const SLimits refused[] = {
        {2.0, 1.0, 0.0}, {1.0, 2.0, -1.0}, {1.0, kNoNumber, 0.0}, {1.0, 2.0, kNoNumber}};
    for (const SLimits& limits : refused)
        EXPECT_THROW(CLimitWatch{limits}, CException);
}
