// The SPI line to the simulated FPGA.
#pragma once

#include "software/bp/rtl/CHkbFpga.h"

#include <cstdint>

class CSimulatedFpga;

/// Takes messages apart; the device id names the page. A message that is not as it has to be, and one for an
/// address that there is not, is refused by a `CException`. Used from one thread only.
class CSimulatedSpiLink : public CHkbFpga::ITransactLink
{
public:
    explicit CSimulatedSpiLink(CSimulatedFpga& fpga) noexcept ///< must outlive the link
        : mFpga(fpga)
    {
    }

    /// @throws CException "Simulated SPI line: %s"
    void Transact(CHkbFpga::SMessage& message) override;

    void SetGone(bool gone) noexcept { mIsGone = gone; } ///< whether the line is cut

private:
    void Write(std::uint32_t page, std::uint32_t address, bool increment, const std::uint8_t* bytes,
               std::uint32_t size);
    void Read(std::uint32_t page, std::uint32_t address, bool increment, std::uint8_t* bytes,
              std::uint32_t size);

    CSimulatedFpga& mFpga;
    bool mIsGone = false;
};
