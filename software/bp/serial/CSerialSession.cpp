// The caller's rights, and the registrations that depend on them.
#include "software/bp/serial/CSerialSession.h"

#include "software/bp/serial/CEventLink.h"
#include "software/bp/serial/NAccess.h"
#include "software/bp/serial/NIpcMsgUtil.h"
#include "software/include/ILog.h"
#include "software/utility/CIpcMessage.h"
#include "software/utility/NUtf8.h"

#include <cstdint>
#include <utility>

namespace
{
constexpr char kDefaultUser[] = "Default User";

std::string MakePrintable(const std::string& user)
{
    std::string name;
    NUtf8::AppendPrintable(name, user);
    return name;
}

bool SeesProtected(int group)
{
    return NAccess::IsAllowed(eAccessProtected, static_cast<EAccessLevel>(group));
}
} // namespace

CSerialSession::CSerialSession(CEventLink& link, const IMonotonicClock& clock, std::string line, ILog& log)
    : mLink(link)
    , mLog(log)
    , mLine(std::move(line))
    , mUser(kDefaultUser)
    , mInactivity(clock)
{
    mInactivity.HasTimerExpiredS(kLogInSeconds); // throws for a clock that wraps too early to tell
}

void CSerialSession::LogIn(const std::string& user, int accessGroup)
{
    mLog.Log("Serial port %s: %s logged in with level %d", mLine.c_str(), MakePrintable(user).c_str(),
             accessGroup);
    mUser = user;
    SetAccessGroup(accessGroup);
    mInactivity.ArmTimer();
}

void CSerialSession::SetDefaultAccessGroup(int group)
{
    if (mAccessGroup == mDefaultAccessGroup)
        SetAccessGroup(group);
    mDefaultAccessGroup = group;
}

void CSerialSession::EndIfIdle()
{
    constexpr std::uint64_t kMsPerS = 1000;
    if (mAccessGroup == mDefaultAccessGroup || mInactivity.GetElapsedMs() <= kLogInSeconds * kMsPerS)
        return;
    mLog.Log("Serial port %s: %s logged out after %u s without a message", mLine.c_str(),
             MakePrintable(mUser).c_str(), kLogInSeconds);
    mUser = kDefaultUser;
    SetAccessGroup(mDefaultAccessGroup);
}

void CSerialSession::KeepAlive()
{
    if (mAccessGroup != mDefaultAccessGroup)
        mInactivity.ArmTimer();
}

void CSerialSession::SetAccessGroup(int group)
{
    const bool sawProtected = SeesProtected(mAccessGroup);
    mAccessGroup = group;
    if (sawProtected && !SeesProtected(group))
        RenewRegistrations();
}

// Remembers what the line registered, for the day when its log-in ends.
void CSerialSession::KeepRegistrations(const CIpcMessage& message)
{
    unsigned short key = 0;
    std::string code;
    for (bool more = message.GetFirstArg(key, code); more; more = message.GetNextArg(key, code))
    {
        unsigned char modifier = 0;
        message.GetModifier(key, modifier);
        if (modifier == eIpcUnregister && code == NIpcMsgUtil::kEveryCode)
            mRegistered.clear();
        else if (!NIpcMsgUtil::IsCarriedCode(code))
            continue;
        else if (modifier != eIpcUnregister)
            ++mRegistered[code];
        else if (const auto entry = mRegistered.find(code);
                 entry != mRegistered.end() && --entry->second == 0)
            mRegistered.erase(entry);
    }
}

// Registers anew as the present caller, which leaves the protected controls out.
void CSerialSession::RenewRegistrations()
{
    if (mRegistered.empty())
        return;
    mLink.NotifyUnregisterAll(mLink.GetNotifySocketName());
    for (auto& [code, count] : mRegistered)
    {
        mLink.NotifyRegister(mAccessGroup, code);
        count = 1;
    }
}
