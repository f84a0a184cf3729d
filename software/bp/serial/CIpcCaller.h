// Who asks over the local IPC.
#pragma once

#include "software/include/EAccessLevel.h"

#include <optional>

class CIpcMessage;
class CProjCon;

/// The caller that a message names in its argument 231. One that names nobody is the controller itself.
class CIpcCaller
{
public:
    /// Anything but a number in argument 231 is a caller without a level.
    explicit CIpcCaller(const CIpcMessage& message);

    bool MayUse(const CProjCon& control) const noexcept;

private:
    std::optional<EAccessLevel> mLevel; // none: the controller itself
};
