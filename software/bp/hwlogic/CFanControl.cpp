// The zones are cooled by themselves; mode and ambient temperature are what they share.
#include "software/bp/hwlogic/CFanControl.h"

#include "software/bp/hwlogic/SThermalConfig.h"
#include "software/include/ILog.h"

namespace
{
constexpr double kPercent = 100.0;
}

CFanControl::CFanControl(ICoolingBoard& board, ILog& log)
    : mBoard(board)
    , mLog(log)
    , mLoops(log)
    , mZones{CZoneCooling(board, EThermalZone::Die, mLoops, log),
             CZoneCooling(board, EThermalZone::LightSource, mLoops, log),
             CZoneCooling(board, EThermalZone::PowerSupply, mLoops, log)}
{
}

// The zones' own ends do it; the line tells whoever reads the log that they came.
CFanControl::~CFanControl()
{
    mLog.LogFYI(eFyiThermal, "The control of the fans ends; each goes to its safe speed, %.0f %%",
                CZoneCooling::kSafeDemand);
}

void CFanControl::Configure(const SThermalConfig& config)
{
    for (std::size_t zone = 0; zone < kThermalZones; ++zone)
        mZones[zone].Configure(config.mZones[zone], config.mCurves);
    mIsConfigured = true;
    Update(); // so that nobody sees zones without a temperature
}

void CFanControl::Update()
{
    if (!mIsConfigured)
        return;
    const double ambient = mBoard.GetAmbientTemperature();
    for (CZoneCooling& zone : mZones)
        zone.Sample(ambient);
}

double CFanControl::GetDemand(EThermalZone zone) const noexcept
{
    return mZones[static_cast<std::size_t>(zone)].GetDemand() / kPercent;
}

double CFanControl::GetTemperature(EThermalZone zone) const
{
    return mZones[static_cast<std::size_t>(zone)].GetTemperature();
}

bool CFanControl::ApplyValue(const std::string&, int value)
{
    if (value < 0 || value >= static_cast<int>(kThermalModes))
        return false;
    mMode = static_cast<ETcmMode>(value);
    for (CZoneCooling& zone : mZones)
        zone.SetMode(mMode);
    return true;
}

bool CFanControl::ApplyText(const std::string&, const std::string&)
{
    return false;
}
