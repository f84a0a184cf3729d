// Modes and zones have names in the file and numbers in the program.
#include "apps/lanternd/NThermalFile.h"

#include "software/utility/CJsonMembers.h"
#include "software/utility/NJsonFile.h"

#include <json/value.h>

namespace
{
constexpr int kFileVersion = 1;
constexpr int kMostPercent = 100;
constexpr const char* kModes[kThermalModes] = {"default", "quiet", "performance"};   // by IThermalMode
constexpr const char* kZones[kThermalZones] = {"die", "lightSource", "powerSupply"}; // by EThermalZone

std::vector<SFanCurvePoint> TakeCurve(CJsonMembers& members, const char* mode)
{
    std::vector<SFanCurvePoint> curve;
    for (const Json::Value& point : members.TakeArray(mode))
    {
        const bool isPoint = point.isArray() && point.size() == 2 && point[0].isInt() && point[1].isInt();
        if (!isPoint || point[1].asInt() < 0 || point[1].asInt() > kMostPercent)
            members.Refuse(mode, "must hold points [degrees C, percent], both whole, percent up to 100");
        curve.push_back({point[0].asInt(), point[1].asUInt()});
    }
    return curve;
}

SThermalZoneConfig TakeZone(const Json::Value& zone, const std::string& place)
{
    CJsonMembers members(zone, place);
    SThermalZoneConfig config;
    config.mRange = {members.TakeNumber("lowest"), members.TakeNumber("highest")};
    config.mWarning = members.TakeNumber("warning");
    config.mMinimumDemand = static_cast<unsigned>(members.TakeInt("minimumDemand", 1, kMostPercent));
    CJsonMembers targets(members.TakeObject("targets"), place + ", targets");
    for (std::size_t mode = 0; mode < kThermalModes; ++mode)
        config.mTargets[mode] = targets.TakeNumber(kModes[mode]);
    targets.Finish();
    config.mP = members.TakeNumber("p");
    config.mI = members.TakeNumber("i");
    config.mD = members.TakeNumber("d");
    config.mMinimumCorrection = members.TakeNumber("minimumCorrection");
    members.Finish();
    return config;
}
} // namespace

SThermalConfig NThermalFile::Load(const std::string& path)
{
    const Json::Value file = NJsonFile::ReadObject(path);
    CJsonMembers members(file, path);
    members.TakeInt("version", kFileVersion, kFileVersion);
    SThermalConfig config;
    CJsonMembers curves(members.TakeObject("curves"), path + ": curves");
    for (std::size_t mode = 0; mode < kThermalModes; ++mode)
        config.mCurves[mode] = TakeCurve(curves, kModes[mode]);
    curves.Finish();
    CJsonMembers zones(members.TakeObject("zones"), path + ": zones");
    for (std::size_t zone = 0; zone < kThermalZones; ++zone)
        config.mZones[zone] = TakeZone(zones.TakeObject(kZones[zone]), path + ": zone " + kZones[zone]);
    zones.Finish();
    members.Finish();
    return config;
}
