// A chip on a serial bus of the simulated FPGA.
#pragma once

#include <cstdint>
#include <vector>

/// Used from one thread only.
class ISimulatedChip
{
public:
    virtual ~ISimulatedChip() = default;

    /// One transaction: the chip takes what is sent, then fills what is asked for.
    /// @param rx  as many bytes as the master clocks in
    /// @returns false when it does not acknowledge (an SPI master cannot tell)
    virtual bool Transfer(const std::vector<std::uint8_t>& tx, std::vector<std::uint8_t>& rx) = 0;
};
