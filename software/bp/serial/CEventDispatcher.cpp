// Look-ups, and the one path on which a change reaches all front ends.
#include "software/bp/serial/CEventDispatcher.h"

#include "software/bp/serial/CCustomEventHandler.h"
#include "software/bp/serial/CProjCon.h"
#include "software/bp/serial/IControlNotifier.h"
#include "software/bp/serial/IIpcServer.h"
#include "software/include/ILog.h"
#include "software/utility/CTextCatalog.h"

#include <exception>

CEventDispatcher::CEventDispatcher(ILog& log)
    : mLog(log)
{
}

bool CEventDispatcher::AddControl(CProjCon& control)
{
    return mControls.try_emplace(control.GetCode(), &control).second;
}

void CEventDispatcher::RemoveControl(const std::string& code)
{
    mControls.erase(code);
}

CProjCon* CEventDispatcher::GetControl(std::string_view code) const noexcept
{
    const auto entry = mControls.find(code);
    return entry == mControls.end() ? nullptr : entry->second;
}

void CEventDispatcher::ForgetControl(const CProjCon& control, bool keepCode) noexcept
{
    const auto entry = mControls.find(control.GetCode());
    if (entry == mControls.end() || entry->second != &control)
        return;
    if (keepCode)
        entry->second = nullptr;
    else
        mControls.erase(entry);
}

bool CEventDispatcher::AddCustomHandler(CCustomEventHandler& handler)
{
    return mCustomHandlers.try_emplace(handler.GetCode(), &handler).second;
}

void CEventDispatcher::RemoveCustomHandler(const std::string& code)
{
    mCustomHandlers.erase(code);
}

CCustomEventHandler* CEventDispatcher::GetCustomHandler(std::string_view code) const noexcept
{
    const auto entry = mCustomHandlers.find(code);
    return entry == mCustomHandlers.end() ? nullptr : entry->second;
}

void CEventDispatcher::SendNotificationMessage(const CProjCon& control, ENotifyType type)
{
    if (mNesting >= kMaxNesting)
    {
        mLog.LogError("%s: change not announced, %u changes are already being announced inside one another",
                      control.GetCode().c_str(), mNesting);
        return;
    }
    struct SNesting
    {
        explicit SNesting(unsigned& depth)
            : mDepth(depth)
        {
            ++mDepth;
        }
        ~SNesting() { --mDepth; }
        unsigned& mDepth;
    } const nesting(mNesting);

    // The lists are made for this change: a recipient that goes or comes meanwhile changes nothing under the
    // walk.
    try
    {
        if (mIpcServer != nullptr)
        {
            std::list<std::string> recipients;
            GetIpcNotifyRecipientList(control.GetCode(), recipients);
            if (!recipients.empty())
                mIpcServer->MakeNotification(control, type, std::move(recipients));
        }
        if (mControlNotifier != nullptr)
        {
            std::list<std::string> recipients;
            GetC4jNotifyRecipientList(control.GetCode(), recipients);
            if (!recipients.empty())
                mControlNotifier->MakeNotification(control, type, std::move(recipients));
        }
    }
    catch (const std::exception& e)
    {
        // A change never throws: what a front end could not send is its loss, not the caller's.
        mLog.LogError("%s: change not announced to everybody: %s", control.GetCode().c_str(), e.what());
    }
}

void CEventDispatcher::GetIpcNotifyRecipientList(const std::string& code,
                                                 std::list<std::string>& recipients) const
{
    mNotificationManager.GetIpcRecipientList(code, recipients);
}

void CEventDispatcher::GetC4jNotifyRecipientList(const std::string& code,
                                                 std::list<std::string>& recipients) const
{
    mNotificationManager.GetC4jRecipientList(code, recipients);
}

std::string CEventDispatcher::GetText(int textId) const
{
    static const CTextCatalog kNoTexts;
    return (mTextCatalog == nullptr ? kNoTexts : *mTextCatalog).GetText(textId);
}

void CEventDispatcher::Update()
{
    if (mIpcServer != nullptr)
        mIpcServer->ProcessEvents();
}
