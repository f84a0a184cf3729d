// The points of the curves are whole degrees; between them nothing is interpolated.
#include "software/bp/hwlogic/CAmbientTempModalStimulus.h"

#include "software/include/ILog.h"
#include "software/utility/CException.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <vector>

namespace
{
constexpr char kSource[] = "software/bp/hwlogic/CAmbientTempModalStimulus";
constexpr unsigned kFullPercent = 100;

unsigned PercentAt(const std::vector<SFanCurvePoint>& points, int celsius)
{
    const auto above =
        std::find_if(points.begin(), points.end(),
                     [=](const SFanCurvePoint& point) { return point.mTemperature > celsius; });
    if (above == points.begin())
        return points.front().mPercent;
    if (above == points.end())
        return points.back().mPercent;
    const SFanCurvePoint& below = *std::prev(above);
    const double width = static_cast<double>(above->mTemperature) - below.mTemperature;
    const double part = (static_cast<double>(celsius) - below.mTemperature) / width;
    const double rise = static_cast<double>(above->mPercent) - below.mPercent;
    return static_cast<unsigned>(std::lround(below.mPercent + part * rise));
}
} // namespace

CAmbientTempModalStimulus::CAmbientTempModalStimulus(ILog& log, const char* name)
    : CBaseStimulus(name)
    , mLog(log)
{
    for (Curve* curve : {&mDefault, &mQuiet, &mPerformance})
        curve->fill(kFullPercent);
}

CAmbientTempModalStimulus::Curve& CAmbientTempModalStimulus::CurveOf(IThermalMode::ETcmMode mode) noexcept
{
    switch (mode)
    {
    case IThermalMode::eModeQuiet: return mQuiet;
    case IThermalMode::eModePerformance: return mPerformance;
    case IThermalMode::eModeDefault: break;
    }
    return mDefault;
}

void CAmbientTempModalStimulus::SetCurve(IThermalMode::ETcmMode mode, int temperature, unsigned percent)
{
    const auto index = static_cast<std::size_t>(ValidTemperature(temperature) - kLowestTemperature);
    CurveOf(mode)[index] = std::min(percent, kFullPercent);
    NotifyChange();
}

void CAmbientTempModalStimulus::SetCurve(const SFanCurvePoint* points, std::size_t count,
                                         IThermalMode::ETcmMode mode)
{
    if (points == nullptr || count == 0)
        throw CException(__func__, kSource, __LINE__, false, "A fan curve needs at least one point");
    std::vector<SFanCurvePoint> sorted(points, points + count);
    for (SFanCurvePoint& point : sorted)
        point.mPercent = std::min(point.mPercent, kFullPercent);
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const SFanCurvePoint& a, const SFanCurvePoint& b)
                     { return a.mTemperature < b.mTemperature; });
    Curve& curve = CurveOf(mode);
    for (std::size_t i = 0; i < curve.size(); ++i)
        curve[i] = PercentAt(sorted, kLowestTemperature + static_cast<int>(i));
    NotifyChange();
}

void CAmbientTempModalStimulus::SetAmbient(int celsius)
{
    if (celsius == mAmbient)
        return;
    mAmbient = celsius;
    NotifyChange();
}

void CAmbientTempModalStimulus::SetMode(IThermalMode::ETcmMode mode)
{
    if (mode == mMode)
        return;
    mMode = mode;
    NotifyChange();
}

int CAmbientTempModalStimulus::ValidTemperature(int celsius) noexcept
{
    return std::clamp(celsius, kLowestTemperature, kHighestTemperature);
}

double CAmbientTempModalStimulus::At(const Curve& curve, int celsius) noexcept
{
    return curve[static_cast<std::size_t>(ValidTemperature(celsius) - kLowestTemperature)] / 100.0;
}

double CAmbientTempModalStimulus::DefaultFunction(int celsius) const noexcept
{
    return At(mDefault, celsius);
}

double CAmbientTempModalStimulus::QuietFunction(int celsius) const noexcept
{
    return At(mQuiet, celsius);
}

double CAmbientTempModalStimulus::PerfFunction(int celsius) const noexcept
{
    return At(mPerformance, celsius);
}

double CAmbientTempModalStimulus::ModalFunction(int celsius, IThermalMode::ETcmMode mode) const noexcept
{
    switch (mode)
    {
    case IThermalMode::eModeQuiet: return QuietFunction(celsius);
    case IThermalMode::eModePerformance: return PerfFunction(celsius);
    case IThermalMode::eModeDefault: break;
    }
    return DefaultFunction(celsius);
}

double CAmbientTempModalStimulus::ApplyTransformation(double pwm, std::uint16_t)
{
    const double result = pwm * GetPresentFactor();
    mLog.LogDebug("at temp = %d, init PWM = %lf, return %lf", mAmbient, pwm, result);
    return result;
}
