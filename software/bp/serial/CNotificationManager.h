// Who wants to hear of changes to what.
#pragma once

#include <list>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

/// One subscriber of one code.
struct SNotifyInfo
{
    std::string mAddress; ///< client descriptor or notification socket
    int mCount = 0;       ///< how often it registered; at 0 it is gone
};

/// Subscriptions by code, those of network clients apart from those of local IPC clients. Used from the
/// loop's thread only.
class CNotificationManager
{
public:
    /// Counts one more registration of the address. @returns false when code or address is empty
    bool NotifyRegister(const std::string& code, const std::string& address);
    /// Counts one less, or none at all with `all`; at 0 the address is removed.
    /// @returns false when code or address is empty; an address that was not registered is no failure
    bool NotifyUnregister(const std::string& code, const std::string& address, bool all);
    /// Removes the address everywhere, whatever its counts.
    /// @returns the codes it was removed from, in ascending order, each followed by a blank
    std::string NotifyUnregisterAll(const std::string& address);

    /// The subscribers of a code: IPC first, each kind in the order of its first registration.
    std::vector<SNotifyInfo> GetNotifyList(const std::string& code) const;
    /// The codes an address is registered on, ascending, each with its count.
    std::vector<std::pair<std::string, int>> GetSubscriptions(const std::string& address) const;

    int GetCount(const std::string& code, const std::string& address) const; ///< 0 when it is not registered

    /// Both append the addresses registered on the code.
    void GetIpcRecipientList(const std::string& code, std::list<std::string>& recipients) const;
    void GetC4jRecipientList(const std::string& code, std::list<std::string>& recipients) const;

    static bool IsJsonAddr(std::string_view address) noexcept; ///< it contains "JSON_TCP"
    static std::string MakeAddrFromSocket(int id);             ///< "JSON_TCP.7" for 7

private:
    using RecipientList = std::list<SNotifyInfo>;
    struct SRecipients
    {
        RecipientList mIpc;
        RecipientList mJson;
        RecipientList& ListFor(std::string_view address) { return IsJsonAddr(address) ? mJson : mIpc; }
    };
    using SubscriptionMap = std::map<std::string, RecipientList::iterator>; // code to the entry in its list

    void Remove(const std::string& code, RecipientList::iterator entry);

    std::map<std::string, SRecipients, std::less<>> mRecipients; // by code
    // The same entries by address, so that neither a registration nor a departure walks the other
    // subscribers.
    std::unordered_map<std::string, SubscriptionMap> mSubscriptions;
};
