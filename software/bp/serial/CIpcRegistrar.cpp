// Everything is checked before the first registration is made.
#include "software/bp/serial/CIpcRegistrar.h"

#include "software/bp/serial/CCustomEventHandler.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CIpcCaller.h"
#include "software/bp/serial/CIpcNotifier.h"
#include "software/bp/serial/CProjCon.h"
#include "software/bp/serial/IIpcServer.h"
#include "software/bp/serial/NIpcMsgUtil.h"
#include "software/bp/serial/NIpcSocket.h"
#include "software/include/ILog.h"

#include <cstring>
#include <string_view>
#include <utility>

namespace
{
constexpr std::size_t kMaxQuoted = NIpcSocket::kMaxName; // bytes of a foreign text in a refusal

SIpcRegistration Refuse(EError error, const std::string& text)
{
    return {error, "Notification System Error: " + text};
}

bool EndsWith(std::string_view text, std::string_view ending) noexcept
{
    return text.size() >= ending.size() && text.substr(text.size() - ending.size()) == ending;
}

bool IsRegistration(unsigned char modifier) noexcept
{
    return modifier == eIpcRegister || modifier == eIpcRegisterSendNow;
}
} // namespace

CIpcRegistrar::CIpcRegistrar(CEventDispatcher& dispatcher, CIpcNotifier& notifier, IIpcServer& server,
                             const std::string& serverName, ILog& log)
    : mDispatcher(dispatcher)
    , mNotifier(notifier)
    , mServer(server)
    , mServerName(serverName)
    , mLog(log)
{
}

SIpcRegistration CIpcRegistrar::Process(const CIpcMessage& message)
{
    std::string address;
    std::list<SRegistration> registrations;
    SIpcRegistration result = CheckAddress(message, address);
    if (result.mError == eErrorNone)
        result = ReadRegistrations(message, registrations);
    bool registers = false;
    for (const SRegistration& registration : registrations)
        registers = registers || IsRegistration(registration.mModifier);
    if (result.mError == eErrorNone && registers)
    {
        if (const int error = mNotifier.Connect(address); error != 0)
            result = Refuse(eErrorCommunications,
                            "Unable to send notification to " + address + ". " + std::strerror(error));
    }
    if (result.mError == eErrorNone)
        Register(address, registrations);
    else
        mLog.LogWarning("%s", result.mText.c_str());
    return result;
}

// A recipient inside this process is known by its address, and nobody outside can take that: what comes over
// a socket has a sender.
SIpcRegistration CIpcRegistrar::CheckAddress(const CIpcMessage& message, std::string& address) const
{
    std::string unused;
    const std::size_t count = message.GetNumArgs() - (message.GetArg(eIpcArgAccessGroup, unused) ? 1 : 0);
    if (count < 2 || !message.GetArg(0, address))
        return Refuse(eErrorTooFewParameters, "Needs at least 2 arguments (" + std::to_string(count) + ")");
    if (!message.IsTextArg(0))
        return Refuse(eErrorInvalidParameter, "Invalid (non-text) argument " + address);
    if (message.GetSender().empty() && mNotifier.IsLocal(address))
        return {};
    const std::string found =
        NIpcSocket::FindInRunDirectory(NIpcSocket::GetRunDirectory(mServerName), address);
    if (!EndsWith(found, NIpcSocket::kNotifyEnding) || CNotificationManager::IsJsonAddr(found))
        return Refuse(eErrorInvalidParameter, "Invalid address " + address.substr(0, kMaxQuoted));
    address = found; // one name for one recipient
    return {};
}

SIpcRegistration CIpcRegistrar::ReadRegistrations(const CIpcMessage& message,
                                                  std::list<SRegistration>& registrations)
{
    const CIpcCaller caller(message);
    unsigned short key = 0;
    std::string code;
    for (bool more = message.GetFirstArg(key, code); more; more = message.GetNextArg(key, code))
    {
        if (key == 0 || key == eIpcArgAccessGroup)
            continue;
        if (!message.IsTextArg(key))
            return Refuse(eErrorInvalidParameter,
                          "Invalid (non-text) argument " + code.substr(0, kMaxQuoted));
        SRegistration registration{code, 0};
        message.GetModifier(key, registration.mModifier);
        SIpcRegistration refusal = CheckRegistration(registration);
        if (refusal.mError != eErrorNone)
            return refusal;
        const CProjCon* const control = mDispatcher.GetControl(registration.mCode);
        if (IsRegistration(registration.mModifier) && control != nullptr && !caller.MayUse(*control))
            mLog.LogDebug("%s is protected; not registered", registration.mCode.c_str());
        else
            registrations.push_back(std::move(registration));
    }
    return {};
}

SIpcRegistration CIpcRegistrar::CheckRegistration(SRegistration& registration) const
{
    const bool registers = IsRegistration(registration.mModifier);
    if (!registers && registration.mModifier != eIpcUnregister)
        return Refuse(eErrorUnknownRequest, "Unsupported modifier");
    if (!registers && registration.mCode == NIpcMsgUtil::kEveryCode)
        return {};
    const std::string given = registration.mCode.substr(0, kMaxQuoted);
    // To unregister, the code need not exist any more.
    if (!NIpcMsgUtil::IsCarriedCode(registration.mCode) ||
        (registers && mDispatcher.GetControl(registration.mCode) == nullptr &&
         mDispatcher.GetCustomHandler(registration.mCode) == nullptr))
        return Refuse(eErrorControlNotFound, given + " NOT FOUND!");
    return {};
}

void CIpcRegistrar::Register(const std::string& address, const std::list<SRegistration>& registrations)
{
    CNotificationManager& manager = mDispatcher.GetNotificationManager();
    for (const auto& [code, modifier] : registrations)
    {
        if (IsRegistration(modifier))
            manager.NotifyRegister(code, address);
        else if (code == NIpcMsgUtil::kEveryCode)
            manager.NotifyUnregisterAll(address);
        else
            manager.NotifyUnregister(code, address, false);
    }
    // Now that all is said, for a recipient may act on its first state at once.
    for (const auto& [code, modifier] : registrations)
    {
        const CProjCon* const control =
            modifier == eIpcRegisterSendNow ? mDispatcher.GetControl(code) : nullptr;
        if (control != nullptr)
            mServer.MakeNotification(*control, eNotifyAll, {address});
    }
    mNotifier.Release(address);
}
