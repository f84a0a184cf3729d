// Errors as they are announced on a serial line.
#pragma once

#include "software/include/EError.h"
#include "software/include/ELogLevel.h"

#include <string>

class CIpcMessage;

namespace NSerialError
{
/// @param level  its form follows it: a system error, a system warning, information, or else an error by
///               itself
/// @returns a message to every unit
CIpcMessage Make(ELogLevel level, EError code, const std::string& text);

/// What stands in front of the text of an error that answers a message: its code, cut to ten characters with
/// colon and blank.
std::string MakePrefix(const CIpcMessage& cause);
} // namespace NSerialError
