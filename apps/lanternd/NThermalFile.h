// The configuration of the thermal control, from a file.
#pragma once

#include "software/bp/hwlogic/SThermalConfig.h"

#include <string>

namespace NThermalFile
{
/// Reads {"version": 1, "curves": {MODE: [[°C, percent], ...]}, "zones": {ZONE: {...}}}; docs/thermal.md has
/// the members. What the numbers must be like is the thermal control's to say.
/// @throws CException "PATH: REASON", "PATH: WHERE: member \"NAME\" REASON"
SThermalConfig Load(const std::string& path);
} // namespace NThermalFile
