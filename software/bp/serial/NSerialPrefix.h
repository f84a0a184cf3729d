// What stands in front of the code of a serial message: marks and addresses.
#pragma once

#include <string_view>

class CIpcMessage;
struct SSyntaxError;

namespace NSerialPrefix
{
constexpr unsigned short kLastUnit = 1023; ///< highest address of a unit

/// Gives a message the flags and addresses of its prefix.
/// @param text        all between "(" and the code
/// @param ownAddress  of this unit
/// @param error       what is wrong; untouched when nothing is
/// @returns false when something is wrong
[[nodiscard]] bool Parse(std::string_view text, unsigned short ownAddress, CIpcMessage& message,
                         SSyntaxError& error);
} // namespace NSerialPrefix
