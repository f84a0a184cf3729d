// What a bus answers that has neither packets of its own nor DMA.
#include "software/bp/rtl/IPtBus.h"

#include "software/utility/CException.h"

namespace
{
constexpr char kSource[] = "software/bp/rtl/IPtBus";

[[noreturn]] void RefuseRawPacket()
{
    throw CException("Send", kSource, __LINE__, false, "Not implemented");
}
} // namespace

void IPtBus::Send(std::uint8_t, std::uint8_t, std::uint16_t, std::uint16_t, const std::uint32_t*,
                  std::uint32_t, bool, bool, bool, bool)
{
    RefuseRawPacket();
}

void IPtBus::Send(std::uint8_t, std::uint8_t, std::uint16_t, std::uint16_t, const std::uint8_t*,
                  std::uint32_t, bool, bool, bool, bool)
{
    RefuseRawPacket();
}

void IPtBus::Send(std::uint8_t, std::uint8_t, std::uint8_t, bool, bool, bool, bool)
{
    RefuseRawPacket();
}

void IPtBus::EnableTx(bool) {}

void IPtBus::EnableRx(bool) {}

bool IPtBus::IsDmaAvailable()
{
    return false;
}

bool IPtBus::IsDmaReady()
{
    return false;
}

void IPtBus::DmaReset() {}

void IPtBus::DmaSend(std::uint8_t, std::uint16_t, const std::uint8_t*, std::uint32_t, bool,
                     const std::uint8_t*, std::uint32_t, std::uint32_t)
{
    throw CException(__func__, kSource, __LINE__, false, "Not supported");
}
