// Two views of the same subscriptions: by code, for a change, and by address, for a departure.
#include "software/bp/serial/CNotificationManager.h"

#include <algorithm>
#include <cstdio>
#include <limits>

namespace
{
constexpr char kJsonPrefix[] = "JSON_TCP";
constexpr std::size_t kMaxJsonAddress = 19; // characters

void AppendAddresses(const std::list<SNotifyInfo>& subscribers, std::list<std::string>& recipients)
{
    for (const SNotifyInfo& subscriber : subscribers)
        recipients.push_back(subscriber.mAddress);
}
} // namespace

bool CNotificationManager::NotifyRegister(const std::string& code, const std::string& address)
{
    if (code.empty() || address.empty())
        return false;
    const auto [subscription, isNew] = mSubscriptions[address].try_emplace(code);
    if (isNew)
    {
        RecipientList& list = mRecipients[code].ListFor(address);
        subscription->second = list.insert(list.end(), SNotifyInfo{address, 0});
    }
    int& count = subscription->second->mCount;
    count = std::min(count, std::numeric_limits<int>::max() - 1) + 1; // some 80000 fit into one request
    return true;
}

bool CNotificationManager::NotifyUnregister(const std::string& code, const std::string& address, bool all)
{
    if (code.empty() || address.empty())
        return false;
    const auto subscriptions = mSubscriptions.find(address);
    if (subscriptions == mSubscriptions.end())
        return true;
    const auto subscription = subscriptions->second.find(code);
    if (subscription == subscriptions->second.end())
        return true;
    const RecipientList::iterator entry = subscription->second;
    if (--entry->mCount > 0 && !all)
        return true;
    Remove(code, entry);
    subscriptions->second.erase(subscription);
    if (subscriptions->second.empty())
        mSubscriptions.erase(subscriptions);
    return true;
}

std::string CNotificationManager::NotifyUnregisterAll(const std::string& address)
{
    std::string codes;
    const auto subscriptions = mSubscriptions.find(address);
    if (subscriptions == mSubscriptions.end())
        return codes;
    for (const auto& [code, entry] : subscriptions->second)
    {
        codes += code + " ";
        Remove(code, entry);
    }
    mSubscriptions.erase(subscriptions);
    return codes;
}

void CNotificationManager::Remove(const std::string& code, RecipientList::iterator entry)
{
    const auto recipients = mRecipients.find(code);
    recipients->second.ListFor(entry->mAddress).erase(entry);
    if (recipients->second.mIpc.empty() && recipients->second.mJson.empty())
        mRecipients.erase(recipients);
}

std::vector<SNotifyInfo> CNotificationManager::GetNotifyList(const std::string& code) const
{
    std::vector<SNotifyInfo> subscribers;
    if (const auto recipients = mRecipients.find(code); recipients != mRecipients.end())
    {
        subscribers.assign(recipients->second.mIpc.begin(), recipients->second.mIpc.end());
        subscribers.insert(subscribers.end(), recipients->second.mJson.begin(),
                           recipients->second.mJson.end());
    }
    return subscribers;
}

std::vector<std::pair<std::string, int>>
CNotificationManager::GetSubscriptions(const std::string& address) const
{
    std::vector<std::pair<std::string, int>> codes;
    if (const auto subscriptions = mSubscriptions.find(address); subscriptions != mSubscriptions.end())
        for (const auto& [code, entry] : subscriptions->second)
            codes.emplace_back(code, entry->mCount);
    return codes;
}

int CNotificationManager::GetCount(const std::string& code, const std::string& address) const
{
    const auto subscriptions = mSubscriptions.find(address);
    if (subscriptions == mSubscriptions.end())
        return 0;
    const auto subscription = subscriptions->second.find(code);
    return subscription == subscriptions->second.end() ? 0 : subscription->second->mCount;
}

void CNotificationManager::GetIpcRecipientList(const std::string& code,
                                               std::list<std::string>& recipients) const
{
    if (const auto entry = mRecipients.find(code); entry != mRecipients.end())
        AppendAddresses(entry->second.mIpc, recipients);
}

void CNotificationManager::GetC4jRecipientList(const std::string& code,
                                               std::list<std::string>& recipients) const
{
    if (const auto entry = mRecipients.find(code); entry != mRecipients.end())
        AppendAddresses(entry->second.mJson, recipients);
}

bool CNotificationManager::IsJsonAddr(std::string_view address) noexcept
{
    return address.find(kJsonPrefix) != std::string_view::npos;
}

std::string CNotificationManager::MakeAddrFromSocket(int id)
{
    char address[kMaxJsonAddress + 1];
    std::snprintf(address, sizeof address, "%s.%d", kJsonPrefix, id);
    return address;
}
