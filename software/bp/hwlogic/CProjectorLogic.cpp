// Which code belongs to what.
#include "software/bp/hwlogic/CProjectorLogic.h"

#include "software/bp/hwlogic/ICoolingBoard.h"
#include "software/bp/hwlogic/ILensMotor.h"
#include "software/bp/serial/CProjCon.h"
#include "software/utility/CJobScheduler.h"
#include "software/utility/CStopwatch.h"

#include <cstdint>

namespace
{
struct SLensCodes
{
    const char* mTarget;   // where the axis shall go
    const char* mPosition; // where it is
    const char* mName;     // for people
};

constexpr SLensCodes kLensCodes[kLensAxes] = {{"LNH", "LPH", "Horizontal shift"},
                                              {"LNV", "LPV", "Vertical shift"},
                                              {"LNF", "LPF", "Focus"},
                                              {"LNZ", "LPZ", "Zoom"}};
constexpr char kLightCode[] = "LUM";

struct SZoneCodes
{
    EThermalZone mZone;
    const char* mFan;
    const char* mTemperature;
};

constexpr SZoneCodes kZoneCodes[kThermalZones] = {
    {EThermalZone::Die, "FN1", "TP1"},
    {EThermalZone::LightSource, "FN2", "TP2"},
    {EThermalZone::PowerSupply, "FN3", "TP3"},
};
} // namespace

struct CProjectorLogic::SJobRow
{
    const char* mName;
    std::chrono::milliseconds mPeriod;
    void (*mRun)(CProjectorLogic& logic, std::chrono::milliseconds elapsed);
};

const CProjectorLogic::SJobRow CProjectorLogic::kJobs[] = {
    {"lens", kLensPeriod,
     [](CProjectorLogic& logic, std::chrono::milliseconds) { logic.mLensReadouts.Update(); }},
    {"thermal", CFanControl::kSamplePeriod,
     [](CProjectorLogic& logic, std::chrono::milliseconds) { logic.mFans.Update(); }},
    {"readouts", kReadoutPeriod,
     [](CProjectorLogic& logic, std::chrono::milliseconds elapsed) { logic.UpdateReadouts(elapsed); }},
    {"derating", kSlowPeriod,
     [](CProjectorLogic& logic, std::chrono::milliseconds elapsed) { logic.mDerating.Advance(elapsed); }},
    {"hours", kSlowPeriod,
     [](CProjectorLogic& logic, std::chrono::milliseconds elapsed) { logic.mHours.Advance(elapsed); }},
};

CProjectorLogic::CProjectorLogic(CEventDispatcher& dispatcher, const SProjectorHardware& hardware,
                                 CStatusDb& status, ILog& log)
    : mBoard(hardware.mBoard)
    , mLens{CLensAxisProxy(dispatcher, *hardware.mLens[0]), CLensAxisProxy(dispatcher, *hardware.mLens[1]),
            CLensAxisProxy(dispatcher, *hardware.mLens[2]), CLensAxisProxy(dispatcher, *hardware.mLens[3])}
    , mLensHome(dispatcher)
    , mReset(dispatcher, log)
    , mFans(hardware.mCooling, log)
    , mDerating(
          dispatcher, kLightCode, [this] { return mFans.GetTemperature(EThermalZone::Die); }, log)
    , mHours(dispatcher, "OPH", "PWR")
    , mLensReadouts(dispatcher)
    , mThermalReadouts(dispatcher)
    , mMonitor(status, dispatcher, hardware.mCooling, mFans)
    , mProxies{{"DAT", &mDate}, {"TIM", &mTime}, {"TCM", &mFans}, {"LHM", &mLensHome}, {"RST", &mReset}}
{
    BindLens(hardware);
    BindReadouts(hardware.mCooling);
}

void CProjectorLogic::BindLens(const SProjectorHardware& hardware)
{
    for (std::size_t axis = 0; axis < kLensAxes; ++axis)
    {
        ILensMotor& motor = *hardware.mLens[axis];
        mProxies.emplace(kLensCodes[axis].mTarget, &mLens[axis]);
        mLensHome.AddAxis(kLensCodes[axis].mTarget, motor);
        mLensReadouts.Add(kLensCodes[axis].mPosition, [&motor] { return motor.GetPosition(); });
        mMonitor.AddAxis(kLensCodes[axis].mName, kLensCodes[axis].mTarget, motor);
    }
}

void CProjectorLogic::BindReadouts(const ICoolingBoard& board)
{
    for (const SZoneCodes& codes : kZoneCodes)
    {
        const EThermalZone zone = codes.mZone;
        mThermalReadouts.Add(codes.mFan, [&board, zone] { return board.GetFanSpeed(zone); });
        mThermalReadouts.Add(codes.mTemperature, [this, zone] { return mFans.GetTemperature(zone); });
    }
}

IControlProxy& CProjectorLogic::GetProxy(std::string_view code) noexcept
{
    if (CBoardProxy::Serves(code))
        return mBoard;
    const auto found = mProxies.find(code);
    if (found != mProxies.end())
        return *found->second;
    return mPassive;
}

void CProjectorLogic::ConfigureThermal(const SThermalConfig& config)
{
    mFans.Configure(config);
    mMonitor.Update(std::chrono::milliseconds(0)); // nobody finds an item without a value
}

int CProjectorLogic::GetLastingValue(const CProjCon& control) const
{
    return control.GetCode() == kLightCode ? mDerating.GetWanted(control) : control.GetValue();
}

void CProjectorLogic::UpdateReadouts(std::chrono::milliseconds elapsed)
{
    mThermalReadouts.Update();
    mMonitor.Update(elapsed);
}

void CProjectorLogic::RegisterJobs(CJobScheduler& scheduler, const IMonotonicClock& clock)
{
    for (const SJobRow& row : kJobs)
        scheduler.RegisterJob(
            row.mName, [this, &row, watch = CStopwatch(clock)]() mutable { (row.mRun)(*this, watch.Take()); },
            static_cast<std::uint32_t>(row.mPeriod.count()));
}
