// The relay tables of the serial ports.
#pragma once

#include "software/bp/serial/ENetworkRouting.h"

/// A port has a number of one bit, 2 for the first up to 32 for the fifth, so that a sum of numbers is a set
/// of ports.
namespace NSerialRouting
{
constexpr unsigned char kFirstPort = 2;
constexpr unsigned char kLastPort = 32;
constexpr unsigned char kOwnPort = 0x40; ///< in a set: the port of the parser that is asked

/// @returns the set of ports that pass on what came in at this port; 0 for none
unsigned char GetTargets(ENetworkRouting routing, unsigned char port) noexcept;
} // namespace NSerialRouting
