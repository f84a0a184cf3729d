// The lens that this projector has, and what is behind its registers.
#include "simulator/CSimulatedProjector.h"

#include "software/bp/rtl/fpga/NReferenceDesign.h"

#include <algorithm>
#include <cmath>

namespace
{
using namespace NFpga::NReferenceDesign;

constexpr double kKelvin = 273.15;
constexpr double kCodesPerDegree = 4096 / 503.975; // of the sensors' first generation
constexpr double kLastCode = 4095;
constexpr std::uint32_t kPatternMask = 0xF;
constexpr std::uint32_t kWord = 4;
constexpr std::uint32_t kPictureSettings = 8;
static_assert(static_cast<std::uint32_t>(EPictureSetting::Freeze) + 1 == kPictureSettings);
static_assert(CFpgaBoard::kPicture + kPictureSettings * kWord <= kControl.mSize);
} // namespace

// Travel in steps and speed in steps per second: horizontal shift, vertical shift, focus, zoom.
CSimulatedProjector::CSimulatedProjector(EPtTransport transport, const IMonotonicClock& clock, ILog& log)
    : mLens{CSimulatedLensMotor({-4500, 4500}, 1500.0), CSimulatedLensMotor({-4000, 4000}, 1500.0),
            CSimulatedLensMotor({-5000, 5000}, 1000.0), CSimulatedLensMotor({-4000, 4000}, 1000.0)}
    , mFpga(clock)
    , mControlBank(
          kControl.mSize,
          [this](std::uint32_t offset, std::uint32_t value) { OnControlWritten(offset, value); }, nullptr)
    , mTestPattern(
          kTestPattern.mSize,
          [this](std::uint32_t offset, std::uint32_t value)
          {
              if (offset == 0)
                  mBoard.ShowTestPattern(static_cast<int>(value & kPatternMask));
          },
          nullptr)
    , mSensors{MakeSensor(EThermalZone::Die), MakeSensor(EThermalZone::LightSource),
               MakeSensor(EThermalZone::PowerSupply)}
    , mBuses(transport, mFpga, clock)
    , mFpgaBoard(mBuses, log)
    , mFpgaCooling(mBuses, mBoard)
{
    AttachBlocks();
}

CSimulatedRegisters CSimulatedProjector::MakeSensor(EThermalZone zone)
{
    return CSimulatedRegisters(kTemperatures[0].mSize, nullptr,
                               [this, zone](std::uint32_t offset, std::uint32_t held)
                               { return offset == 0 ? ReadSample(zone) : held; });
}

void CSimulatedProjector::AttachBlocks()
{
    mFpga.Attach(kControl, mControlBank);
    mFpga.Attach(kTestPattern, mTestPattern);
    for (std::size_t i = 0; i < kThermalZones; ++i)
        mFpga.Attach(kTemperatures[i], mSensors[i]);
    mFpga.Reset(kTestPattern, NFpga::CFormatterTestPattern::kReference);
    mFpga.Reset(kStatusLed, NFpga::CLedTriColor::kReference);
}

void CSimulatedProjector::OnControlWritten(std::uint32_t offset, std::uint32_t value)
{
    if (offset == CFpgaBoard::kSwitches)
    {
        mBoard.SetPower((value & CFpgaBoard::kPowerBit) != 0);
        mBoard.SetShutter((value & CFpgaBoard::kShutterBit) != 0);
    }
    else if (offset == CFpgaBoard::kLight)
        mBoard.SetLightOutput(static_cast<double>(value & CFpgaBoard::kLightMask) / CFpgaBoard::kFullLight);
    else if (offset == CFpgaBoard::kSource)
        mBoard.SelectSource(static_cast<int>(value));
    else if (offset >= CFpgaBoard::kPicture && offset < CFpgaBoard::kPicture + kPictureSettings * kWord)
        mBoard.SetPicture(static_cast<EPictureSetting>((offset - CFpgaBoard::kPicture) / kWord),
                          static_cast<int>(value));
}

// A sensor that is silent gives the code that none can measure.
std::uint32_t CSimulatedProjector::ReadSample(EThermalZone zone) const
{
    const double celsius = mBoard.GetTemperature(zone);
    if (std::isnan(celsius))
        return 0;
    return static_cast<std::uint32_t>(
        std::lround(std::clamp((celsius + kKelvin) * kCodesPerDegree, 0.0, kLastCode)));
}

SProjectorHardware CSimulatedProjector::GetHardware() noexcept
{
    return {mFpgaBoard, mFpgaCooling, {&mLens[0], &mLens[1], &mLens[2], &mLens[3]}};
}

void CSimulatedProjector::Advance(std::chrono::milliseconds step) noexcept
{
    mBoard.Advance(step);
    for (CSimulatedLensMotor& motor : mLens)
        motor.Advance(step);
}
