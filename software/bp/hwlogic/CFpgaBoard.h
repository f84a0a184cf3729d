// The main board of a projector, reached through FPGA registers.
#pragma once

#include "software/bp/hwlogic/IProjectorBoard.h"
#include "software/bp/rtl/CPtRegisterBank.h"
#include "software/bp/rtl/fpga/patterns/CFormatterTestPattern.h"
#include "software/bp/rtl/fpga/sensors/CLedTriColor.h"

#include <cstdint>

class ILog;
class IPtPages;

/// Power, light and picture are written to the board's own bank, test patterns to the formatter; the status
/// light shows standby (red), shutter closed (yellow) or light (green). A bus that fails makes the operation
/// refuse, and is logged once until it works again. Used from the loop's thread.
class CFpgaBoard : public IProjectorBoard
{
public:
    /// @param pages  of the reference design; must outlive the board, like the log
    /// @throws CException what a page refuses
    CFpgaBoard(IPtPages& pages, ILog& log);

    bool SetPower(bool on) override;
    bool SetShutter(bool closed) override;
    bool SetLightOutput(double fraction) override; ///< false outside 0 to 1 too
    bool SelectSource(int source) override;
    bool ShowTestPattern(int pattern) override; ///< false for a pattern that there is not, too
    bool SetPicture(EPictureSetting setting, int value) override;

    /// The board's bank: byte offsets.
    static constexpr std::uint32_t kSwitches = 0x00; ///< bit 0 power, bit 1 shutter closed
    static constexpr std::uint32_t kLight = 0x04;    ///< thousandths of the full output, bits 0-9
    static constexpr std::uint32_t kSource = 0x08;   ///< value of the list entry
    static constexpr std::uint32_t kPicture = 0x40;  ///< one word a setting, in the order of EPictureSetting
    static constexpr std::uint32_t kPowerBit = 1u << 0;
    static constexpr std::uint32_t kShutterBit = 1u << 1;
    static constexpr std::uint32_t kLightMask = 0x3FF;
    static constexpr std::uint32_t kFullLight = 1000;

private:
    template <typename TAction>
    bool Try(TAction action);
    bool WriteWord(std::uint32_t addr, int value);
    bool SetSwitch(std::uint32_t bit, bool on);

    ILog& mLog;
    CPtRegisterBank mBank;
    NFpga::CFormatterTestPattern mTestPattern;
    NFpga::CLedTriColor mStatusLed;
    bool mHasFailed = false;
};
