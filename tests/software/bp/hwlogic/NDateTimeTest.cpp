// Dates and times as controls take them.
#include "software/bp/hwlogic/NDateTime.h"

#include <gtest/gtest.h>

#include <string_view>

TEST(DateTime, KnowsTheDaysOfTheCalendar)
{
    for (const std::string_view good :
         {"2026-01-01", "2026-12-31", "2024-02-29", "2000-02-29", "0001-01-01", "9999-12-31", "2026-04-30"})
        EXPECT_TRUE(NDateTime::IsDate(good)) << good;
    for (const std::string_view bad : {"", "2026-02-29", "1900-02-29", "2026-00-10", "2026-13-10",
                                       "2026-01-00", "2026-01-32", "2026-04-31", "0000-01-01", "2026/01/01",
                                       "2026-1-001", "26-01-01  ", "2026-01-0x", "+026-01-01", "2026-01-01 "})
        EXPECT_FALSE(NDateTime::IsDate(bad)) << bad;
}

TEST(DateTime, KnowsTheTimesOfADay)
{
    for (const std::string_view good : {"00:00:00", "23:59:59", "03:00:00"})
        EXPECT_TRUE(NDateTime::IsTime(good)) << good;
    for (const std::string_view bad :
         {"", "24:00:00", "23:60:00", "23:59:60", "3:00:00 ", "03-00-00", "03:00:0", "-1:00:00", "03:00:00Z"})
        EXPECT_FALSE(NDateTime::IsTime(bad)) << bad;
}
