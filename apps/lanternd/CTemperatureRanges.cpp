// From the monitor's table to JSON.
#include "apps/lanternd/CTemperatureRanges.h"

#include "software/bp/hwlogic/CStatusMonitor.h"

#include <json/value.h>

Json::Value CTemperatureRanges::GetRange(const std::string&)
{
    Json::Value ranges(Json::arrayValue);
    for (int index = 0; index < static_cast<int>(kThermalZones); ++index)
    {
        const SLimits& limits = CStatusMonitor::GetTemperatureLimits(static_cast<EThermalZone>(index));
        Json::Value& range = ranges.append(Json::Value(Json::objectValue));
        range["idx"] = index;
        range["unit"] = "Cel";
        range["warning"] = limits.mWarning;
        range["alarm"] = limits.mAlarm;
        range["deadBand"] = limits.mDeadBand;
    }
    return ranges;
}
