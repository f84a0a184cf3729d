// Readings become texts in a buffer on the stack: a projector at rest costs no allocation.
#include "software/bp/hwlogic/CStatusMonitor.h"

#include "software/bp/hwlogic/CFanControl.h"
#include "software/bp/hwlogic/ILensMotor.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"
#include "software/bp/status/CStatusDb.h"

#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>

namespace
{
struct SZoneRow
{
    EThermalZone mZone;
    const char* mHeat; // descriptions
    const char* mFan;
    SLimits mLimits; // °C
};

// In the default mode and at full light every zone stays below its warning.
constexpr SZoneRow kZones[kThermalZones] = {
    {EThermalZone::Die, "Image device", "Fan of the image device", {60.0, 68.0, 3.0}},
    {EThermalZone::LightSource, "Light source", "Fan of the light source", {62.0, 75.0, 3.0}},
    {EThermalZone::PowerSupply, "Power supply", "Fan of the power supply", {60.0, 70.0, 3.0}},
};

constexpr double kFanDeadBand = 100.0; // rpm
constexpr SLimits kFanLimits = {0.0, 0.0, kFanDeadBand, CStatusMonitor::kFanHold};
constexpr SLimits kLensLimits = {0.5, 0.5, 0.0, CStatusMonitor::kLensHold};

constexpr char kNoReading[] = "no reading";

using Text = std::array<char, 48>;

__attribute__((format(printf, 1, 2))) Text Print(const char* format, ...) // NOLINT(cert-dcl50-cpp)
{
    Text text{};
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    return text;
}

int IndexOf(EThermalZone zone)
{
    return static_cast<int>(zone);
}
} // namespace

CStatusMonitor::CStatusMonitor(CStatusDb& status, CEventDispatcher& dispatcher, const ICoolingBoard& board,
                               const CFanControl& fans)
    : mStatus(status)
    , mDispatcher(dispatcher)
    , mBoard(board)
    , mFanControl(fans)
{
    status.AddGroup(kTemperatures, "status/temperature.png");
    status.AddGroup(kFans, "status/fans.png");
    status.AddGroup(kLens, "status/lens.png");
    for (const SZoneRow& row : kZones)
    {
        status.AddItem(kTemperatures, IndexOf(row.mZone), row.mHeat);
        status.AddItem(kFans, IndexOf(row.mZone), row.mFan);
        mZones.push_back({row.mZone, CLimitWatch(row.mLimits), CLimitWatch(kFanLimits)});
    }
}

void CStatusMonitor::AddAxis(const char* description, const std::string& code, const ILensMotor& motor)
{
    mStatus.AddItem(kLens, static_cast<int>(mAxes.size()), description);
    mAxes.push_back({code, &motor, motor.GetPosition(), CLimitWatch(kLensLimits)});
}

const SLimits& CStatusMonitor::GetTemperatureLimits(EThermalZone zone) noexcept
{
    return kZones[static_cast<std::size_t>(zone)].mLimits;
}

void CStatusMonitor::Update(std::chrono::milliseconds elapsed)
{
    for (SZone& zone : mZones)
    {
        UpdateTemperature(zone, elapsed);
        UpdateFan(zone, elapsed);
    }
    int index = 0;
    for (SAxis& axis : mAxes)
        UpdateAxis(axis, index++, elapsed);
}

void CStatusMonitor::UpdateTemperature(SZone& zone, std::chrono::milliseconds elapsed)
{
    const double celsius = mFanControl.GetTemperature(zone.mZone);
    const EStatusLevel status = zone.mHeat.Update(celsius, elapsed);
    mStatus.Set(kTemperatures, IndexOf(zone.mZone), status,
                std::isfinite(celsius) ? Print("%.1f °C", celsius).data() : kNoReading);
}

void CStatusMonitor::UpdateFan(SZone& zone, std::chrono::milliseconds elapsed)
{
    const double rpm = mBoard.GetFanSpeed(zone.mZone);
    const bool isDriven = mFanControl.GetDemand(zone.mZone) >= kDriven;
    const double lack = isDriven || std::isnan(rpm) ? kLeastSpeed - rpm : -kLeastSpeed;
    const EStatusLevel status = zone.mFan.Update(lack, elapsed);
    const Text text = !std::isfinite(rpm)      ? Print(kNoReading)
                      : status == eStatusAlarm ? Print("%.0f rpm, should turn", rpm)
                                               : Print("%.0f rpm", rpm);
    mStatus.Set(kFans, IndexOf(zone.mZone), status, text.data());
}

// An axis that moves is on its way; one that stands elsewhere than it was sent to is stuck.
void CStatusMonitor::UpdateAxis(SAxis& axis, int index, std::chrono::milliseconds elapsed)
{
    const int position = axis.mMotor->GetPosition();
    const bool isMoving = position != axis.mPosition;
    axis.mPosition = position;
    const CProjCon* const control = mDispatcher.GetControl(axis.mCode);
    const int target = control == nullptr ? position : control->GetValue();
    const bool isWrong = !isMoving && position != target;
    const EStatusLevel status = axis.mStandstill.Update(isWrong ? 1.0 : 0.0, elapsed);
    const Text text = status == eStatusAlarm ? Print("stuck at %d, sent to %d", position, target)
                                             : Print("%d steps", position);
    mStatus.Set(kLens, index, status, text.data());
}
