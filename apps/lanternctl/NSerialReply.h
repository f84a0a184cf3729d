// Messages of the serial protocol as a unit sends them.
#pragma once

#include <string_view>

class CIpcMessage;

namespace NSerialReply
{
/// Reads a message with its parentheses: flags, addresses, code, arguments. A checksum is checked and taken
/// off.
/// @returns false for what a sound line does not bring: broken syntax, a wrong checksum, text that is not
///          UTF-8; the message is of no use then
[[nodiscard]] bool Parse(std::string_view line, CIpcMessage& message);
} // namespace NSerialReply
