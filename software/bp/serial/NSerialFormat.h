// Messages as they are written to a serial line.
#pragma once

#include <string>

class CIpcMessage;

namespace NSerialFormat
{
/// Replaces a text by a message in parentheses, checksummed if the message says so.
void Format(const CIpcMessage& message, std::string& line);
} // namespace NSerialFormat
