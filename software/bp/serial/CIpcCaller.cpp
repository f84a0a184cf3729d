// The level in argument 231, and the one access rule applied to it.
#include "software/bp/serial/CIpcCaller.h"

#include "software/bp/serial/CProjCon.h"
#include "software/bp/serial/NAccess.h"
#include "software/bp/serial/NIpcMsgUtil.h"

#include <string>

CIpcCaller::CIpcCaller(const CIpcMessage& message)
{
    std::string text;
    if (!message.GetArg(eIpcArgAccessGroup, text))
        return;
    int level = eAccessNone;
    message.GetArg(eIpcArgAccessGroup, level);
    mLevel = static_cast<EAccessLevel>(level);
}

bool CIpcCaller::MayUse(const CProjCon& control) const noexcept
{
    return !mLevel || NAccess::IsAllowed(control.GetAccessGroup(), *mLevel);
}
