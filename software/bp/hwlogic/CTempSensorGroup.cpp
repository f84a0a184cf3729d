// Few sensors, read once a second: the values are sorted as they come.
#include "software/bp/hwlogic/CTempSensorGroup.h"

#include "software/bp/hwlogic/NTempReading.h"
#include "software/utility/CException.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

namespace
{
constexpr char kSource[] = "software/bp/hwlogic/CTempSensorGroup";
constexpr double kMissing = std::numeric_limits<double>::quiet_NaN();

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2.0;
}
} // namespace

void CTempSensorGroup::AddSensor(const ITempSensor& sensor, double weight)
{
    if (!(weight >= 0.0) || !std::isfinite(weight))
        throw CException(__func__, kSource, __LINE__, false, "Invalid weight of a temperature sensor (%g)",
                         weight);
    mMembers.push_back({&sensor, weight});
}

double CTempSensorGroup::GetRealTemperature() const
{
    std::vector<double> values;
    values.reserve(mMembers.size());
    double weighted = 0.0;
    double weights = 0.0;
    for (const SMember& member : mMembers)
    {
        const double value = NTempReading::GetTrusted(*member.mSensor);
        if (std::isnan(value))
            return kMissing;
        values.push_back(value);
        weighted += value * member.mWeight;
        weights += member.mWeight;
    }
    if (values.empty())
        return kMissing;
    switch (mMode)
    {
    case EMode::Minimum: return *std::min_element(values.begin(), values.end());
    case EMode::Maximum: return *std::max_element(values.begin(), values.end());
    case EMode::Average:
        return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
    case EMode::Median: return Median(std::move(values));
    case EMode::Weighted: return weights > 0.0 ? weighted / weights : kMissing;
    }
    return kMissing;
}

int CTempSensorGroup::GetTemperature() const
{
    return NTempReading::Truncate(GetRealTemperature());
}

STempRange CTempSensorGroup::GetRange() const
{
    if (mMembers.empty())
        return {0.0, 0.0};
    STempRange range = mMembers.front().mSensor->GetRange();
    for (const SMember& member : mMembers)
    {
        const STempRange other = member.mSensor->GetRange();
        range = {std::min(range.mLowest, other.mLowest), std::max(range.mHighest, other.mHighest)};
    }
    return range;
}

unsigned CTempSensorGroup::GetAge() const
{
    unsigned age = 0;
    for (const SMember& member : mMembers)
        age = std::max(age, member.mSensor->GetAge());
    return age;
}
