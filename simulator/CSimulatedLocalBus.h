// A mapped window with the simulated FPGA behind it.
#pragma once

#include "software/bp/rtl/CPtBusLocal.h"
#include "software/bp/rtl/IPtPages.h"

#include <array>
#include <cstdint>

class CSimulatedFpga;

/// Base of the bus below, since the window has to be there before the bus.
struct SSimulatedWindow
{
    std::array<std::uint32_t, IPtPages::kPageSize / 4> mWords{};
};

/// Memory alone has no behaviour. So each word goes through the real bus by itself: before a read the FPGA
/// says what is in the window, after a write it takes what is there. Used from one thread only.
class CSimulatedLocalBus : private SSimulatedWindow, public CPtBusLocal
{
public:
    CSimulatedLocalBus(CSimulatedFpga& fpga, std::uint8_t page); ///< the FPGA must outlive the bus

    using CPtBusLocal::Send;
    void Send(std::uint8_t channel, std::uint16_t address, const std::uint32_t* data, std::uint32_t count,
              bool increment) override;
    void Send(std::uint8_t channel, std::uint16_t address, const std::uint8_t* data, std::uint32_t count,
              bool increment) override;
    void Receive(std::uint8_t channel, std::uint16_t address, std::uint32_t* data, std::uint32_t count,
                 bool increment, std::uint32_t timeoutMs) override;
    void Receive(std::uint8_t channel, std::uint16_t address, std::uint8_t* data, std::uint32_t count,
                 bool increment, std::uint32_t timeoutMs) override;
    void Request(std::uint8_t channel, std::uint16_t address, const std::uint32_t* writeData,
                 std::uint32_t writeCount, std::uint32_t* readData, std::uint32_t readCount, bool increment,
                 std::uint32_t timeoutMs) override;
    void Request(std::uint8_t channel, std::uint16_t address, const std::uint8_t* writeData,
                 std::uint32_t writeCount, std::uint8_t* readData, std::uint32_t readCount, bool increment,
                 std::uint32_t timeoutMs) override;

private:
    void Fetch(std::uint32_t address);
    void Deliver(std::uint32_t address);

    CSimulatedFpga& mFpga;
    const std::uint8_t mPage;
};
