// A 32-bit register space behind an AXI4-Lite master.
#pragma once

#include <cstdint>

class IAxi4l
{
public:
    virtual ~IAxi4l() = default;
    virtual void Write(std::uint32_t address, std::uint32_t value) = 0; ///< @throws CException
    virtual std::uint32_t Read(std::uint32_t address) = 0;              ///< @throws CException
    /// Successive words from the address on. @throws CException "Not implemented" where the master has no
    /// bursts
    virtual void Write(std::uint32_t address, const std::uint32_t* data, std::uint32_t count) = 0;
    virtual void Read(std::uint32_t address, std::uint32_t* data, std::uint32_t count) = 0;
};
