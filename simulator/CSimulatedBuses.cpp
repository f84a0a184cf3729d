// What differs from transport to transport.
#include "simulator/CSimulatedBuses.h"

#include "simulator/CSimulatedLocalBus.h"
#include "software/utility/CException.h"

namespace
{
constexpr char kSource[] = "simulator/CSimulatedBuses";
}

CSimulatedBuses::CSimulatedBuses(EPtTransport transport, CSimulatedFpga& fpga, const IMonotonicClock& clock)
    : mTransport(transport)
    , mFpga(fpga)
    , mPcieDevice(fpga)
    , mPcie(mPcieDevice, clock)
    , mSpiLink(fpga)
{
    if (transport == EPtTransport::Pcie)
        mPcie.Initialize();
}

CSimulatedBuses::~CSimulatedBuses() = default;

IPtBus& CSimulatedBuses::GetBus(std::uint8_t page)
{
    if (page >= kMostPages)
        throw CException(__func__, kSource, __LINE__, false, "There is no page %u", unsigned{page});
    if (mTransport == EPtTransport::Pcie)
        return mPcie;
    if (mTransport == EPtTransport::Spi)
    {
        if (!mSpi[page])
            mSpi[page] = std::make_unique<SSpiPage>(mSpiLink, page);
        return mSpi[page]->mBus;
    }
    if (!mLocal[page])
        mLocal[page] = std::make_unique<CSimulatedLocalBus>(mFpga, page);
    return *mLocal[page];
}
