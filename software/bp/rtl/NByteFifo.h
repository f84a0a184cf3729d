// FIFOs of bytes behind ports of words.
#pragma once

#include <cstdint>

class CPtMemoryPort;

/// The serial masters in the FPGA take and give one byte a word, in bits 0 to 7, since a bus need not be able
/// to tell how many bytes of a word are meant.
namespace NByteFifo
{
void Write(CPtMemoryPort& port, const std::uint8_t* data,
           std::uint32_t length);                                         ///< @throws CException as the bus
void Read(CPtMemoryPort& port, std::uint8_t* data, std::uint32_t length); ///< the same
} // namespace NByteFifo
