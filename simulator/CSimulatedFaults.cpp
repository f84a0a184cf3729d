// One fault of a kind at a time: a new one replaces the one before it.
#include "simulator/CSimulatedFaults.h"

#include "simulator/CSimulatedBoard.h"

namespace
{
constexpr char kFanCode[] = "SIM+FANS";
constexpr char kSensorCode[] = "SIM+SENS";
constexpr int kSensorFaults = 4; // with none
} // namespace

bool CSimulatedFaults::Serves(std::string_view code) noexcept
{
    return code == kFanCode || code == kSensorCode;
}

bool CSimulatedFaults::ApplyValue(const std::string& code, int value)
{
    const bool isFan = code == kFanCode;
    if (value < 0 || value >= (isFan ? static_cast<int>(kThermalZones) + 1 : kSensorFaults))
        return false;
    if (!isFan)
        mBoard.SetSensorFault(EThermalZone::Die, static_cast<CSimulatedBoard::ESensorFault>(value));
    for (int fan = 0; isFan && fan < static_cast<int>(kThermalZones); ++fan)
        mBoard.BlockFan(static_cast<EThermalZone>(fan), fan + 1 == value);
    return true;
}

bool CSimulatedFaults::ApplyText(const std::string&, const std::string&)
{
    return false;
}
