// The DMA requests of the driver.
#include "software/bp/rtl/CPtBusPcieDma.h"

#include "software/bp/rtl/NPcieDriver.h"
#include "software/bp/rtl/NPtBus.h"
#include "software/utility/CException.h"
#include "software/utility/CPosixFile.h"

namespace
{
constexpr char kSource[] = "software/bp/rtl/CPtBusPcieDma";

std::uint64_t ToAddress(const std::uint8_t* pointer, std::uint32_t length) noexcept
{
    return length == 0 ? 0 : reinterpret_cast<std::uintptr_t>(pointer);
}
} // namespace

void CPtBusPcieDma::Control(unsigned long request, void* record, const char* what)
{
    if (GetFile().Ioctl(request, record) == -1)
        throw CException(__func__, kSource, __LINE__, true, "PtBus DMA %s failed", what);
}

void CPtBusPcieDma::Enable(std::uint32_t on)
{
    Control(NPcieDriver::kDmaEnable, &on, on != 0 ? "enable" : "disable");
}

void CPtBusPcieDma::Initialize()
{
    CPtBusPcie::Initialize();
    Enable(1);
}

void CPtBusPcieDma::Reset()
{
    CPtBusPcie::Reset();
    Enable(0);
}

bool CPtBusPcieDma::IsDmaReady()
{
    NPcieDriver::SNumber status{};
    return GetFile().Ioctl(NPcieDriver::kReadDmaStatus, &status) != -1 &&
           (status.mValue & NPcieDriver::kDmaBusyBits) == 0;
}

void CPtBusPcieDma::DmaReset()
{
    NPcieDriver::SNumber nothing{};
    Control(NPcieDriver::kDmaReset, &nothing, "reset");
}

void CPtBusPcieDma::DmaSend(std::uint8_t channel, std::uint16_t address, const std::uint8_t* data,
                            std::uint32_t length, bool increment, const std::uint8_t* second,
                            std::uint32_t secondLength, std::uint32_t)
{
    if (increment)
        throw CException(__func__, kSource, __LINE__, false, "Unsupported incrementing address mode");
    NPtBus::CheckBuffer(channel, address, data, length);
    NPtBus::CheckBuffer(channel, address, second, secondLength);
    NPcieDriver::SDmaSend record{
        ToAddress(data, length),         length,       channel, address | NPcieDriver::kDmaAddressFlag, 0,
        ToAddress(second, secondLength), secondLength, 0};
    Control(NPcieDriver::kDmaSend, &record, "send");
}
