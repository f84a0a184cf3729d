// Behaviour behind registers of the simulated FPGA.
#pragma once

#include <cstdint>

/// Offsets are bytes from the block's start, multiples of 4. Used from one thread only.
class ISimulatedBlock
{
public:
    virtual ~ISimulatedBlock() = default;
    virtual std::uint32_t Read(std::uint32_t offset) = 0; ///< a read may change what the next one gives
    virtual void Write(std::uint32_t offset, std::uint32_t value) = 0;
};
