// Where the registers' failures become refusals of the controls.
#include "software/bp/hwlogic/CFpgaBoard.h"

#include "software/bp/rtl/IPtPages.h"
#include "software/bp/rtl/fpga/NReferenceDesign.h"
#include "software/include/ILog.h"
#include "software/utility/CException.h"

#include <cmath>

namespace
{
using namespace NFpga::NReferenceDesign;

constexpr std::uint32_t kWholeWord = 0xFFFFFFFF;
constexpr std::uint32_t kWordSize = 4;

NFpga::ILedTriColor::EColor ColorOf(std::uint32_t switches) noexcept
{
    if ((switches & CFpgaBoard::kPowerBit) == 0)
        return NFpga::ILedTriColor::eRed;
    return (switches & CFpgaBoard::kShutterBit) != 0 ? NFpga::ILedTriColor::eYellow
                                                     : NFpga::ILedTriColor::eGreen;
}
} // namespace

CFpgaBoard::CFpgaBoard(IPtPages& pages, ILog& log)
    : mLog(log)
    , mBank(pages.GetBus(kControl.mPage), kControl.mPage, kControl.mOffset, kControl.mSize)
    , mTestPattern(pages.GetBus(kTestPattern.mPage), kTestPattern.mPage, kTestPattern.mOffset,
                   kTestPattern.mSize)
    , mStatusLed(pages.GetBus(kStatusLed.mPage), kStatusLed.mPage, kStatusLed.mOffset, kStatusLed.mSize)
{
}

template <typename TAction>
bool CFpgaBoard::Try(TAction action)
{
    try
    {
        action();
        mHasFailed = false;
        return true;
    }
    catch (const CException& error)
    {
        if (!mHasFailed)
            mLog.LogError("The board's registers cannot be written: %s", error.what());
        mHasFailed = true;
        return false;
    }
}

bool CFpgaBoard::WriteWord(std::uint32_t addr, int value)
{
    return Try([&] { mBank.WriteFieldWait(addr, static_cast<std::uint32_t>(value), 0, kWholeWord); });
}

// A switch that could not be written stays what it was, for the next write sends both.
bool CFpgaBoard::SetSwitch(std::uint32_t bit, bool on)
{
    const std::uint32_t before = mBank.ReadShadowBits(kSwitches, 0, kWholeWord);
    const std::uint32_t after = on ? before | bit : before & ~bit;
    if (!WriteWord(kSwitches, static_cast<int>(after)))
    {
        mBank.WriteShadowBits(kSwitches, before, 0, kWholeWord);
        return false;
    }
    Try([&] { mStatusLed.SetColor(ColorOf(after)); }); // a light that fails keeps nobody from switching
    return true;
}

bool CFpgaBoard::SetPower(bool on)
{
    return SetSwitch(kPowerBit, on);
}

bool CFpgaBoard::SetShutter(bool closed)
{
    return SetSwitch(kShutterBit, closed);
}

bool CFpgaBoard::SetLightOutput(double fraction)
{
    if (!(fraction >= 0.0 && fraction <= 1.0)) // written so that NaN is refused too
        return false;
    return WriteWord(kLight, static_cast<int>(std::lround(fraction * kFullLight)));
}

bool CFpgaBoard::SelectSource(int source)
{
    return WriteWord(kSource, source);
}

bool CFpgaBoard::ShowTestPattern(int pattern)
{
    using NFpga::CFormatterTestPattern;
    return Try([&] { mTestPattern.SetPattern(static_cast<CFormatterTestPattern::EPattern>(pattern)); });
}

bool CFpgaBoard::SetPicture(EPictureSetting setting, int value)
{
    return WriteWord(kPicture + static_cast<std::uint32_t>(setting) * kWordSize, value);
}
