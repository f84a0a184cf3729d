// The limits of the temperatures, for whoever draws a gauge.
#pragma once

#include "software/bp/c4j/CC4jStatus.h"

class CTemperatureRanges : public CC4jStatus::IAdditionalStatusInfoHandler
{
public:
    /// [{"idx", "unit", "warning", "alarm", "deadBand"}, ...], an entry for each zone
    Json::Value GetRange(const std::string& group) override;
};
