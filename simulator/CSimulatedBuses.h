// The simulated FPGA, reached by any of the transports.
#pragma once

#include "simulator/CSimulatedPcieDevice.h"
#include "simulator/CSimulatedSpiLink.h"
#include "software/bp/rtl/CHkbFpga.h"
#include "software/bp/rtl/CPtBusPcieDma.h"
#include "software/bp/rtl/CPtBusSpiFpga.h"
#include "software/bp/rtl/EPtTransport.h"
#include "software/bp/rtl/IPtPages.h"

#include <array>
#include <memory>

class CSimulatedFpga;
class CSimulatedLocalBus;
class IMonotonicClock;

/// Owns the buses that a board start-up would make, and the devices behind them. Used from one thread only.
class CSimulatedBuses : public IPtPages
{
public:
    /// @param fpga   must outlive the buses, like the clock
    /// @param clock  of the time-outs
    CSimulatedBuses(EPtTransport transport, CSimulatedFpga& fpga, const IMonotonicClock& clock);
    ~CSimulatedBuses() override;

    /// @throws CException "There is no page %u"
    IPtBus& GetBus(std::uint8_t page) override;

    CSimulatedPcieDevice& GetPcieDevice() noexcept { return mPcieDevice; } ///< to make it fail
    CSimulatedSpiLink& GetSpiLink() noexcept { return mSpiLink; }          ///< the same

private:
    struct SSpiPage
    {
        SSpiPage(CSimulatedSpiLink& link, std::uint8_t page)
            : mFpga(link, page)
            , mBus(mFpga)
        {
        }
        CHkbFpga mFpga;
        CPtBusSpiFpga mBus;
    };

    const EPtTransport mTransport;
    CSimulatedFpga& mFpga;
    CSimulatedPcieDevice mPcieDevice;
    CPtBusPcieDma mPcie;
    CSimulatedSpiLink mSpiLink;
    std::array<std::unique_ptr<CSimulatedLocalBus>, kMostPages> mLocal; // made when first asked for
    std::array<std::unique_ptr<SSpiPage>, kMostPages> mSpi;             // the same
};
