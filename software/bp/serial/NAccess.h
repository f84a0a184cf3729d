// The one rule of who may use a control.
#pragma once

#include "software/include/EAccessLevel.h"

namespace NAccess
{
/// A protected control (group 6) needs a caller of level 2 or 6; every other control is open to all.
constexpr bool IsAllowed(EAccessLevel group, EAccessLevel caller) noexcept
{
    return group != eAccessProtected || caller == eAccessOperator || caller == eAccessProtected;
}
} // namespace NAccess
