// The codes that a serial line handles by itself.
#pragma once

#include <cstdint>

enum class ESerialCode
{
    Control, ///< any other
    LogIn,
    Registration,
    Request, ///< a request also when it looks like a command
    Ignored, ///< what other units announce
};

/// @param code  upper case, as `CIpcMessage::GetPackedCode` gives it
ESerialCode FindSerialCode(std::uint32_t code) noexcept;
