// The codes that a serial line handles by itself.
#pragma once

#include <string_view>

enum class ESerialCode
{
    Control, ///< any other
    LogIn,
    Registration,
    Request, ///< a request also when it looks like a command
    Ignored, ///< what other units announce
};

/// @param code  three characters, upper case
ESerialCode FindSerialCode(std::string_view code) noexcept;
