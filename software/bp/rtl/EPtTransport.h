// How the FPGAs of a projector are reached.
#pragma once

enum class EPtTransport
{
    Local, ///< mapped memory
    Pcie,
    Spi,
};
