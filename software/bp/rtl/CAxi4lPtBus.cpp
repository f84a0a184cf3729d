// Both directions are the same but for their command.
#include "software/bp/rtl/CAxi4lPtBus.h"

#include "software/bp/rtl/NPoll.h"
#include "software/utility/CException.h"

namespace
{
constexpr char kSource[] = "software/bp/rtl/CAxi4lPtBus";
constexpr std::uint32_t kControl = 0;
constexpr std::uint32_t kAddress = 4;
constexpr std::uint32_t kWriteData = 8;
constexpr std::uint32_t kReadData = 12;
constexpr std::uint32_t kBankSize = 16;
constexpr std::uint32_t kWholeWord = 0xFFFFFFFF;
constexpr std::uint32_t kBusy = 1;
constexpr std::uint32_t kWriteCommand = 0xF0001; // all byte lanes, start
constexpr std::uint32_t kReadCommand = 0xF0101;
constexpr std::uint32_t kFlagShift = 4;
constexpr std::uint32_t kFlagMask = 16;
constexpr std::uint32_t kTimeoutMs = 1;

[[noreturn]] void RefuseBurst()
{
    throw CException("CAxi4lPtBus", kSource, __LINE__, false, "Not implemented");
}
} // namespace

CAxi4lPtBus::CAxi4lPtBus(IPtBus& bus, std::uint8_t channel, std::uint32_t base, const IMonotonicClock& clock)
    : mBank(bus, channel, base, kBankSize)
    , mTimer(clock)
{
}

CAxi4lPtBus::CAxi4lPtBus(CPtRegisterBank& bank, const IMonotonicClock& clock, std::uint32_t flag)
    : mBank(bank, 0, kBankSize)
    , mFlag(flag)
    , mTimer(clock)
{
}

void CAxi4lPtBus::WriteWord(std::uint32_t addr, std::uint32_t value)
{
    mBank.WriteFieldWait(addr, value, 0, kWholeWord);
}

void CAxi4lPtBus::Run(std::uint32_t command, const char* failure)
{
    WriteWord(kControl, command | (mFlag << kFlagShift & kFlagMask));
    mTimer.ArmTimer();
    if (!NPoll::UntilMs(mTimer, kTimeoutMs, [this] { return mBank.ReadField(kControl, 0, kBusy) == 0; }))
        throw CException(__func__, kSource, __LINE__, false, "%s", failure);
}

void CAxi4lPtBus::Write(std::uint32_t address, std::uint32_t value)
{
    WriteWord(kAddress, address);
    WriteWord(kWriteData, value);
    Run(kWriteCommand, "Timeout waiting AXI4-Lite write transaction to finish");
}

std::uint32_t CAxi4lPtBus::Read(std::uint32_t address)
{
    WriteWord(kAddress, address);
    Run(kReadCommand, "Timeout waiting AXI4-Lite read transaction to finish");
    return mBank.ReadField(kReadData, 0, kWholeWord);
}

void CAxi4lPtBus::Write(std::uint32_t, const std::uint32_t*, std::uint32_t)
{
    RefuseBurst();
}

void CAxi4lPtBus::Read(std::uint32_t, std::uint32_t*, std::uint32_t)
{
    RefuseBurst();
}
