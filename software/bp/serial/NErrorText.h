// The texts of the shared error codes.
#pragma once

#include "software/include/EError.h"

namespace NErrorText
{
/// The default text of a code: empty for 0, "Unknown Error" for a number that is none of ours. Never null.
const char* GetErrorString(EError error) noexcept;
} // namespace NErrorText
