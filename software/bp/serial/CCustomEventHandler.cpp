// Registration and the entry points that a derived class fills.
#include "software/bp/serial/CCustomEventHandler.h"

#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/NAsciiCodeUtils.h"
#include "software/utility/CException.h"
#include "software/utility/CIpcMessage.h"

namespace
{
constexpr char kSource[] = "software/bp/serial/CCustomEventHandler";
}

CCustomEventHandler::CCustomEventHandler(CEventDispatcher& dispatcher, const std::string& code, bool flag)
    : mCode(code)
    , mDispatcher(&dispatcher)
    , mFlag(flag)
{
    if (!NAsciiCodeUtils::ValidateCode(mCode))
        throw CException(__func__, kSource, __LINE__, false, "%s Invalid event handler code", code.c_str());
    if (!dispatcher.AddCustomHandler(*this))
        throw CException(__func__, kSource, __LINE__, false, "%s Event handler already exists.",
                         mCode.c_str());
}

CCustomEventHandler::~CCustomEventHandler()
{
    if (mDispatcher->GetCustomHandler(mCode) == this)
        mDispatcher->RemoveCustomHandler(mCode);
}

bool CCustomEventHandler::HandleCommand(const CIpcMessage& command, CIpcMessage& reply)
{
    return HandleIpcCommand(command, reply);
}

bool CCustomEventHandler::HandleRequest(const CIpcMessage& request, std::list<CIpcMessage>& replies)
{
    return HandleIpcRequest(request, replies);
}

bool CCustomEventHandler::HandleIpcCommand(const CIpcMessage&, CIpcMessage&)
{
    return false;
}

bool CCustomEventHandler::HandleIpcRequest(const CIpcMessage&, std::list<CIpcMessage>&)
{
    return false;
}
