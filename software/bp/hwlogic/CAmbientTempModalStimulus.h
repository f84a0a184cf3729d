// How much air each thermal mode allows at the temperature around the projector.
#pragma once

#include "software/bp/hwlogic/CBaseStimulus.h"
#include "software/include/IThermalMode.h"

#include <array>
#include <cstddef>

class ILog;

/// A point of a curve that is given by few of them.
struct SFanCurvePoint
{
    int mTemperature;  ///< °C, of the air around
    unsigned mPercent; ///< of the demand; above 100 counts as 100
};

/// Multiplies the demand by the curve of the present mode. All curves are 100 % at first, and the air 40 °C,
/// so that what nobody has set cools fully. The log is not owned and must outlive it.
class CAmbientTempModalStimulus : public CBaseStimulus
{
public:
    static constexpr int kLowestTemperature = 0;   ///< °C; anything below uses its point
    static constexpr int kHighestTemperature = 40; ///< °C; anything above uses its point

    explicit CAmbientTempModalStimulus(ILog& log, const char* name = "AmbientTempModalStimulus");

    /// One point of a curve; any mode that is neither quiet nor performance is the default one.
    /// @param percent  above 100 is stored as 100
    void SetCurve(IThermalMode::ETcmMode mode, int temperature, unsigned percent);
    /// A whole curve: straight lines between the points in the order of their temperatures, rounded to whole
    /// percent; before the first and behind the last their values hold. Of two points at one temperature the
    /// later one counts from there on.
    /// @throws CException "A fan curve needs at least one point"
    void SetCurve(const SFanCurvePoint* points, std::size_t count, IThermalMode::ETcmMode mode);

    void SetAmbient(int celsius);
    void SetMode(IThermalMode::ETcmMode mode);

    static int ValidTemperature(int celsius) noexcept;  ///< cut to 0..40
    double DefaultFunction(int celsius) const noexcept; ///< 0 to 1, as the next two
    double QuietFunction(int celsius) const noexcept;
    double PerfFunction(int celsius) const noexcept;
    double ModalFunction(int celsius, IThermalMode::ETcmMode mode) const noexcept;

    double ApplyTransformation(double pwm, std::uint16_t fan = 0) override;

protected:
    double GetPresentFactor() const noexcept { return ModalFunction(mAmbient, mMode); }

private:
    static constexpr std::size_t kPoints = kHighestTemperature - kLowestTemperature + 1;
    using Curve = std::array<unsigned, kPoints>; // percent

    Curve& CurveOf(IThermalMode::ETcmMode mode) noexcept;
    static double At(const Curve& curve, int celsius) noexcept;

    ILog& mLog;
    Curve mDefault;
    Curve mQuiet;
    Curve mPerformance;
    int mAmbient = kHighestTemperature; // °C
    IThermalMode::ETcmMode mMode = IThermalMode::eModeDefault;
};
