// Where a block stands in an FPGA.
#pragma once

#include <cstdint>

namespace NFpga
{
struct SPlace
{
    std::uint8_t mPage;    ///< 0 to 63
    std::uint32_t mOffset; ///< bytes in the page, a multiple of 4
    std::uint32_t mSize;   ///< bytes; a block never crosses a page
};
} // namespace NFpga
