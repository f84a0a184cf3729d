// The pages of an FPGA and the buses that lead to them.
#pragma once

#include <cstdint>

class IPtBus;

/// An FPGA has up to 64 pages of registers, 1 KiB each. Which bus leads to a page is the transport's affair:
/// over PCIe it is one bus, whose channel names the page; over mapped memory and SPI each page has a bus of
/// its own, which ignores the channel. Who gives every access both the page's bus and its number as the
/// channel need not know.
class IPtPages
{
public:
    virtual ~IPtPages() = default;

    /// @param page  0 to 63
    /// @returns a bus that lives as long as the pages
    /// @throws CException for a page that the FPGA does not have
    virtual IPtBus& GetBus(std::uint8_t page) = 0;

    static constexpr std::uint8_t kMostPages = 64;
    static constexpr std::uint32_t kPageSize = 1024; ///< bytes
};
