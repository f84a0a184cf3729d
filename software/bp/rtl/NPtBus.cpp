// The refusals, out of the way of the plain path.
#include "software/bp/rtl/NPtBus.h"

#include "software/utility/CException.h"

namespace
{
constexpr char kSource[] = "software/bp/rtl/NPtBus";
}

void NPtBus::ThrowNoBuffer(std::uint8_t channel, std::uint16_t address, std::uint32_t count)
{
    throw CException("CheckBuffer", kSource, __LINE__, false,
                     "PtBus: [%d][0x%04X]: No buffer for %u elements", int{channel}, unsigned{address},
                     count);
}

void NPtBus::ThrowReadAndWrite(std::uint8_t channel, std::uint16_t address)
{
    throw CException("Request", kSource, __LINE__, false,
                     "PtBus Request: [%d][0x%04X]:Request should not read and write in a single transaction, "
                     "this is a firmware limitation",
                     int{channel}, unsigned{address});
}
