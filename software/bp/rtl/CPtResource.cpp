// A place that no packet can name is refused when it is made.
#include "software/bp/rtl/CPtResource.h"

#include "software/bp/rtl/NPtBus.h"
#include "software/utility/CException.h"

namespace
{
constexpr char kSource[] = "software/bp/rtl/CPtResource";
}

CPtResource::CPtResource(IPtBus& bus, std::uint8_t channel, std::uint32_t base)
    : mBus(bus)
    , mChannel(channel)
    , mBase(base)
{
    if (channel > NPtBus::kLastChannel)
        throw CException(__func__, kSource, __LINE__, false, "Channel out of range (%u)", unsigned{channel});
    CheckAlignment(base);
}

void CPtResource::ThrowMisaligned(std::uint32_t address)
{
    throw CException("CheckAlignment", kSource, __LINE__, false,
                     "Address must be aligned to 32 bit boundary (%#x)", address);
}
