// How a register field behaves.
#pragma once

namespace NFpga
{
enum class EFieldKind
{
    ReadWrite,
    ReadOnly,
    WriteOnly,      ///< reads as anything
    Pulse,          ///< writing ones starts something; clears itself
    WriteOneClears, ///< set by the device, cleared by writing ones
    Port,           ///< a FIFO; the whole word
};
} // namespace NFpga
