// The typed operations, and the registrations that a link makes.
#include "software/bp/serial/CEventLink.h"

#include "software/bp/serial/CIpcSocketClient.h"
#include "software/bp/serial/NIpcMsgUtil.h"
#include "software/bp/serial/NStatusMessages.h"
#include "software/bp/status/CStatusDb.h"
#include "software/include/ILog.h"
#include "software/utility/CIpcMessage.h"
#include "software/utility/NUtf8.h"

#include <exception>
#include <utility>

namespace
{
constexpr unsigned short kCodesPerMessage = 100; // what surely fits beside an address
constexpr unsigned kFarewellMs = 100;

CIpcMessage MakeRegistration(const std::string& address)
{
    CIpcMessage message;
    message.SetCode(NIpcMsgUtil::kRegistrationCode);
    message.SetSubCode("");
    message.AddArg(0, address);
    return message;
}

CIpcMessage MakeUnregisterAll(const std::string& address)
{
    CIpcMessage message = MakeRegistration(address);
    message.AddArg(1, NIpcMsgUtil::kEveryCode, eIpcUnregister);
    return message;
}
} // namespace

CEventLink::CEventLink(ILog& log, const char* uniqueName, const std::string& runDirectory)
    : CEventLink(log, std::make_unique<CIpcSocketClient>(uniqueName, runDirectory))
{
}

CEventLink::CEventLink(ILog& log, std::unique_ptr<IIpcClient> client)
    : CRetryingLink(log, std::move(client))
{
}

// Says good-bye, so that the control process need not find out by a notification that reaches nobody.
CEventLink::~CEventLink()
{
    if (!mRegistered)
        return;
    try
    {
        CIpcMessage farewell = MakeUnregisterAll(GetClient().GetNotifyAddress());
        GetClient().Send(farewell, kFarewellMs);
    }
    catch (const std::exception& e)
    {
        GetLog().LogDebug("%s not unregistered: %s", GetClient().GetNotifyAddress().c_str(), e.what());
    }
}

// --- Typed operations --------------------------------------------------------------------------------------

EError CEventLink::Request(int accessGroup, const std::string& code, CIpcMessage& reply)
{
    CIpcMessage request;
    if (!NIpcMsgUtil::SetFullCode(request, code))
        return eErrorControlNotFound;
    std::list<CIpcMessage> replies;
    const EError error = SendRequest(accessGroup, request, replies, mTimeoutMs);
    if (error == eErrorNone)
        reply = std::move(replies.back());
    return error;
}

EError CEventLink::GetText(int accessGroup, const std::string& code, std::string& text)
{
    CIpcMessage reply;
    const EError error = Request(accessGroup, code, reply);
    if (error != eErrorNone)
        return error;
    const bool isEntry = reply.IsNumberArg(0) && reply.IsTextArg(1); // a list tells its entry's text too
    return reply.GetArg(isEntry ? 1 : 0, text) ? eErrorNone : eErrorWrongControlType;
}

EError CEventLink::GetValue(int accessGroup, const std::string& code, int& value)
{
    CIpcMessage reply;
    const EError error = Request(accessGroup, code, reply);
    if (error != eErrorNone)
        return error;
    return reply.GetArg(0, value) ? eErrorNone : eErrorWrongControlType;
}

EError CEventLink::SetText(int accessGroup, const std::string& code, const std::string& text)
{
    CIpcMessage command;
    if (!NIpcMsgUtil::SetFullCode(command, code))
        return eErrorControlNotFound;
    if (!NUtf8::IsStorable(text))
        return eErrorInvalidValue;
    command.AddArg(0, text);
    CIpcMessage reply;
    return SendCommand(accessGroup, command, reply, mTimeoutMs);
}

EError CEventLink::SetValue(int accessGroup, const std::string& code, int value)
{
    CIpcMessage command;
    if (!NIpcMsgUtil::SetFullCode(command, code))
        return eErrorControlNotFound;
    command.AddArg(0, value);
    CIpcMessage reply;
    return SendCommand(accessGroup, command, reply, mTimeoutMs);
}

// --- Status ------------------------------------------------------------------------------------------------

EError CEventLink::RequestStatus(int accessGroup, CIpcMessage&& request, std::vector<SStatus>& items)
{
    items.clear();
    std::list<CIpcMessage> replies;
    const EError error = SendRequest(accessGroup, request, replies, mTimeoutMs);
    if (error != eErrorNone)
        return error;
    for (const CIpcMessage& reply : replies)
        if (SStatus item; NStatusMessages::ReadItem(reply, item))
            items.push_back(std::move(item));
    return eErrorNone;
}

EError CEventLink::GetStatus(int accessGroup, std::vector<SStatusGroup>& groups)
{
    groups.clear();
    std::vector<SStatus> items;
    const EError error =
        RequestStatus(accessGroup, NStatusMessages::MakeRequest(CStatusDb::kSummaryName), items);
    for (SStatus& item : items)
        groups.push_back({item.mGroup, item.mGroup, item.mStatus, std::move(item.mValue)});
    return error;
}

EError CEventLink::GetStatus(int accessGroup, const std::string& group, int index, SStatus& item)
{
    std::vector<SStatus> items;
    const EError error = RequestStatus(accessGroup, NStatusMessages::MakeRequest(group, &index), items);
    if (error == eErrorNone && items.empty())
        return eErrorUnknownRequest;
    if (error == eErrorNone)
        item = std::move(items.front());
    return error;
}

EError CEventLink::GetStatusGroup(int accessGroup, const std::string& group, std::vector<SStatus>& items)
{
    return RequestStatus(accessGroup, NStatusMessages::MakeRequest(group), items);
}

EError CEventLink::GetGlobalAlerts(int accessGroup, std::vector<SStatus>& alarms)
{
    return RequestStatus(accessGroup, NStatusMessages::MakeRequest(CStatusDb::kAlarmsName), alarms);
}

// --- Notifications -----------------------------------------------------------------------------------------

EError CEventLink::NotifyRegister(int accessGroup, const std::string& code, bool sendNow)
{
    return NotifyRegister(accessGroup, std::list<SControlSet>{{code, sendNow}});
}

EError CEventLink::NotifyRegister(int accessGroup, const std::list<SControlSet>& controls)
{
    if (!OpenNotify())
        return eErrorCommunications;
    mRegistered = true;
    return SendRegistrations(accessGroup, controls, true);
}

EError CEventLink::NotifyUnregister(int accessGroup, const std::string& code)
{
    return NotifyUnregister(accessGroup, std::list<SControlSet>{{code}});
}

EError CEventLink::NotifyUnregister(int accessGroup, const std::list<SControlSet>& controls)
{
    return SendRegistrations(accessGroup, controls, false);
}

EError CEventLink::NotifyUnregisterAll(const std::string& address)
{
    CIpcMessage message = MakeUnregisterAll(address);
    CIpcMessage reply;
    const EError error = SendCommand(kNoAccessGroup, message, reply, mTimeoutMs);
    if (error == eErrorNone && address == GetNotifySocketName())
        mRegistrations.clear();
    return error;
}

// All of them first end, in case that a part is there: after a try that failed half-way, or without a loss.
EError CEventLink::NotifyRenew()
{
    if (!OpenNotify())
        return eErrorCommunications;
    const Registrations wanted = mRegistrations;
    EError error = NotifyUnregisterAll(GetNotifySocketName());
    for (auto next = wanted.begin(); next != wanted.end() && error == eErrorNone; ++next)
    {
        std::list<SControlSet> controls(next->second.mCount, {next->first});
        controls.front().mSendNow = true;
        error = SendRegistrations(next->second.mAccessGroup, controls, true);
    }
    mRegistrations = wanted;
    return error;
}

EError CEventLink::SendRegistrations(int accessGroup, const std::list<SControlSet>& controls, bool registers)
{
    for (auto next = controls.begin(); next != controls.end();)
    {
        const auto first = next;
        CIpcMessage message = MakeRegistration(GetNotifySocketName());
        for (unsigned short key = 1; key <= kCodesPerMessage && next != controls.end(); ++key, ++next)
        {
            std::string code = next->mCode;
            if (!NIpcMsgUtil::IsCarriedCode(code))
                return eErrorControlNotFound;
            const EIpcRegistration wanted = next->mSendNow ? eIpcRegisterSendNow : eIpcRegister;
            message.AddArg(key, code, registers ? wanted : eIpcUnregister);
        }
        CIpcMessage reply;
        const EError error = SendCommand(accessGroup, message, reply, mTimeoutMs);
        if (error != eErrorNone)
            return error;
        for (auto sent = first; sent != next; ++sent)
            Remember(accessGroup, sent->mCode, registers);
    }
    return eErrorNone;
}

void CEventLink::Remember(int accessGroup, const std::string& code, bool registers)
{
    if (registers)
    {
        SRegistered& registered = mRegistrations.try_emplace(code, SRegistered{accessGroup, 0}).first->second;
        registered = {accessGroup, registered.mCount + 1};
        return;
    }
    const auto found = mRegistrations.find(code);
    if (found != mRegistrations.end() && --found->second.mCount == 0)
        mRegistrations.erase(found);
}

bool CEventLink::OpenNotify()
{
    try
    {
        if (GetClient().OpenNotify())
            GetLog().LogWarning("Notification socket %s had vanished; made again",
                                GetNotifySocketName().c_str());
        mNotifyFails = false;
        return true;
    }
    catch (const std::exception& e)
    {
        if (!std::exchange(mNotifyFails, true))
            GetLog().LogError("%s", e.what());
        return false;
    }
}

void CEventLink::ProcessNotify(std::list<CIpcMessage>& notifications)
{
    GetClient().ProcessNotify(notifications);
}

void CEventLink::SetNotifyHandler(IIpcClient::NotifyHandler handler)
{
    GetClient().SetNotifyHandler(std::move(handler));
}

int CEventLink::GetNotifyDescriptor()
{
    return OpenNotify() ? GetClient().GetNotifyDescriptor() : -1;
}

const std::string& CEventLink::GetNotifySocketName() const noexcept
{
    return GetClient().GetNotifyAddress();
}

bool CEventLink::IsNotifyLost() const noexcept
{
    return GetClient().IsNotifyLost();
}
