// Terminal settings of the serial ports.
#pragma once

#include <termios.h>

namespace NTerminal
{
/// @returns false for a rate that terminals do not have
[[nodiscard]] bool FindSpeed(unsigned baud, speed_t& speed) noexcept;

/// Raw, 8 data bits, no parity, one stop bit, no flow control.
/// @param speed  B0 keeps the present one
/// @returns false with errno when the descriptor is no terminal or refuses
[[nodiscard]] bool SetRaw(int descriptor, speed_t speed) noexcept;

/// Whether a terminal is the side of a pseudo-terminal that programs open.
[[nodiscard]] bool IsPseudo(int descriptor) noexcept;
} // namespace NTerminal
