// Sensors alone and together, and the small classes that condition a reading.
#include "software/bp/hwlogic/CTempSensorGroup.h"

#include "software/bp/hwlogic/CRunningAverageFilter.h"
#include "software/bp/hwlogic/CTempLinearRule.h"
#include "software/bp/hwlogic/NTempReading.h"
#include "software/utility/CException.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>

namespace
{
class CFixedSensor : public ITempSensor
{
public:
    explicit CFixedSensor(double celsius, unsigned age = 0)
        : mCelsius(celsius)
        , mAge(age)
    {
    }
    double GetRealTemperature() const override { return mCelsius; }
    int GetTemperature() const override { return NTempReading::Truncate(mCelsius); }
    STempRange GetRange() const override { return {-40.0, 125.0}; }
    unsigned GetAge() const override { return mAge; }

    double mCelsius;
    unsigned mAge;
};
} // namespace

TEST(TempReading, OnlyFreshNumbersInsideTheRangeAreTrusted)
{
    const double infinite = std::numeric_limits<double>::infinity();
    const std::tuple<double, unsigned, bool> cases[] = {
        {25.0, 0, true},      {25.0, 3, true},       {25.0, 4, false},  {-40.0, 0, true},
        {-40.1, 0, false},    {125.0, 0, true},      {125.1, 0, false}, {std::nan(""), 0, false},
        {infinite, 0, false}, {-infinite, 0, false},
    };
    for (const auto& [celsius, age, trusted] : cases)
    {
        const double reading = NTempReading::GetTrusted(CFixedSensor(celsius, age));
        EXPECT_EQ(!std::isnan(reading), trusted) << celsius << ", " << age;
        EXPECT_TRUE(!trusted || reading == celsius);
    }
}

TEST(TempSensorGroup, CombinesInFiveWays)
{
    using EMode = CTempSensorGroup::EMode;
    CFixedSensor sensors[] = {CFixedSensor(30.5), CFixedSensor(-20.75), CFixedSensor(40.0),
                              CFixedSensor(10.25)};
    const std::tuple<EMode, double, int, double> cases[] = {
        // four sensors, truncated, the first three alone
        {EMode::Minimum, -20.75, -20, -20.75},       {EMode::Maximum, 40.0, 40, 40.0},
        {EMode::Average, 15.0, 15, 49.75 / 3},       {EMode::Median, 20.375, 20, 30.5},
        {EMode::Weighted, 23.78125, 23, 169.75 / 6},
    };
    constexpr double kWeights[] = {1.0, 1.0, 4.0, 2.0};
    for (const auto& [mode, all, truncated, three] : cases)
    {
        SCOPED_TRACE(static_cast<int>(mode));
        CTempSensorGroup group(mode);
        EXPECT_TRUE(std::isnan(group.GetRealTemperature()));
        EXPECT_EQ(group.GetTemperature(), ITempSensor::kNoTemperature);
        for (int i = 0; i < 3; ++i)
            group.AddSensor(sensors[i], kWeights[i]);
        EXPECT_DOUBLE_EQ(group.GetRealTemperature(), three);
        group.AddSensor(sensors[3], kWeights[3]);
        EXPECT_DOUBLE_EQ(group.GetRealTemperature(), all);
        EXPECT_EQ(group.GetTemperature(), truncated);

        sensors[2].mAge = 4; // one that may not be believed spoils the whole
        EXPECT_TRUE(std::isnan(group.GetRealTemperature()));
        EXPECT_EQ(group.GetAge(), 4u);
        sensors[2].mAge = 0;
    }
    CTempSensorGroup group(EMode::Weighted);
    EXPECT_THROW(group.AddSensor(sensors[0], -1.0), CException);
    group.AddSensor(sensors[0], 0.0);
    EXPECT_TRUE(std::isnan(group.GetRealTemperature()));
}

TEST(TempLinearRule, RoundsWholeReadingsByTruncation)
{
    const CTempLinearRule rule(0.5, -10.0);
    const std::pair<int, int> cases[] = {{101, 41}, {100, 40}, {20, 0}, {19, 0},
                                         {17, -1},  {15, -2},  {10, -4}};
    for (const auto& [raw, celsius] : cases)
        EXPECT_EQ(rule.ProcessRawReading(raw), celsius) << raw;
    EXPECT_EQ(rule.ProcessRawReading(101.0), 40.5);
    EXPECT_EQ(CTempLinearRule(1e9, 0.0).ProcessRawReading(INT_MIN), INT_MIN);
}

TEST(RunningAverageFilter, TruncatesAtEachStep)
{
    CRunningAverageFilter filter(4);
    for (const auto& [sample, average] :
         std::vector<std::pair<int, int>>{{40, 40}, {44, 41}, {44, 41}, {45, 42}, {0, 31}})
        EXPECT_EQ(filter.GetAverage(sample), average);
    EXPECT_EQ(CRunningAverageFilter(1).GetAverage(-1), -1);
    EXPECT_THROW(CRunningAverageFilter(0), CException);
}
