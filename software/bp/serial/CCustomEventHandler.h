// A code that is answered by a program part instead of a control.
#pragma once

#include <list>
#include <string>

class CEventDispatcher;
class CIpcMessage;

/// Registers itself under its code; whoever made it calls `CEventDispatcher::RemoveCustomHandler` before it
/// goes (one that is forgotten removes itself). A derived class overrides what it supports.
class CCustomEventHandler
{
public:
    /// @param flag  kept for the derived class, see `GetFlag`; nothing in the control core reads it
    /// @throws CException "%s Invalid event handler code", "%s Event handler already exists."
    CCustomEventHandler(CEventDispatcher& dispatcher, const std::string& code, bool flag);
    CCustomEventHandler(const CCustomEventHandler&) = delete;
    CCustomEventHandler& operator=(const CCustomEventHandler&) = delete;
    virtual ~CCustomEventHandler();

    /// @returns false when the handler takes no commands
    bool HandleCommand(const CIpcMessage& command, CIpcMessage& reply);
    /// @returns false when the handler answers no requests
    bool HandleRequest(const CIpcMessage& request, std::list<CIpcMessage>& replies);

    const std::string& GetCode() const noexcept { return mCode; }
    bool GetFlag() const noexcept { return mFlag; }

protected:
    virtual bool HandleIpcCommand(const CIpcMessage& command, CIpcMessage& reply);
    virtual bool HandleIpcRequest(const CIpcMessage& request, std::list<CIpcMessage>& replies);

private:
    std::string mCode;
    CEventDispatcher* mDispatcher;
    bool mFlag;
};
