// The methods of the module "status", and its notifications.
#pragma once

#include "software/bp/c4j/CC4jBaseHandler.h"
#include "software/bp/status/IStatusListener.h"
#include "software/bp/status/SStatus.h"

#include <array>
#include <list>
#include <map>
#include <string>

class CStatusDb;

/// Lets clients read the status database and subscribe to it: to the items of a group by the group's name, to
/// the summary by "SUMM", to the alarms by "ALRM". It listens to the database for as long as it lives.
/// Without "id" the listener methods act silently, and those that only read do nothing. A listener method of
/// a caller that is no client is refused with error 5 "Can't find client identifier". "sendNow" is true
/// unless it is given.
class CC4jStatus : public CC4jBaseHandler, public IStatusListener
{
public:
    /// Answers the range queries of a group.
    class IAdditionalStatusInfoHandler
    {
    public:
        virtual ~IAdditionalStatusInfoHandler() = default;
        /// @returns the result of status:getItems with the modifier "range"
        virtual Json::Value GetRange(const std::string& group) = 0;
    };

    /// @param status  not owned, must outlive it
    CC4jStatus(CJsonRpcServer& server, CStatusDb& status);
    ~CC4jStatus() override;

    /// @param handler  not owned; replaces the group's handler before it
    void AddGroupAdditionalHandler(const std::string& group, IAdditionalStatusInfoHandler& handler);

    /// [{"name", "group", "status", "icon"}, ...]
    bool GetGroups(const Json::Value& request, Json::Value& response);
    /// [group] or {"group": group, "modifier": ""}: its items in display order. With the modifier "range",
    /// what the group's additional handler says. Error 9 "Cannot find status group", "Unknown modifier",
    /// "Group doesn't support range checking".
    bool GetItems(const Json::Value& request, Json::Value& response);
    /// {"group": group, "idx": index}: [item]; error 9 "Cannot find status group or item".
    bool GetItem(const Json::Value& request, Json::Value& response);
    bool GetAlarms(const Json::Value& request, Json::Value& response); ///< [item, ...]

    /// [name, sendNow] or {"group": name or names, "notifyMethod": name or names, "sendNow": bool}. A name is
    /// one of `GetNotifyMethods`: all are subscribed to, or none. Error 5 "Missing status group", 9 "Cannot
    /// find status group". The current state leaves before the reply.
    bool AddListener(const Json::Value& request, Json::Value& response) override;
    bool RemoveListener(const Json::Value& request, Json::Value& response) override;
    /// [sendNow], {"sendNow": bool} or nothing; the other two take no parameters.
    bool AddGroupListener(const Json::Value& request, Json::Value& response);
    bool RemoveGroupListener(const Json::Value& request, Json::Value& response);
    bool AddAlarmListener(const Json::Value& request, Json::Value& response);
    bool RemoveAlarmListener(const Json::Value& request, Json::Value& response);

    /// Sends one item to the listeners of its group at once, its texts as they are: the database keeps out
    /// what would need an escape. What would be longer than 1023 bytes is cut.
    void Notify(const std::string& group, int idx, const std::string& desc, int status,
                const std::string& value);
    /// Sends the alarms to their listeners as "status:notifyAlarms", once for all changes of 100 ms.
    void NotifyAlarms(const std::list<SStatus>& alarms);
    void NotifySummary(); ///< sends the summary to its listeners, each once
    /// Sends what a name stands for, at once: "status:notifyGroupSummary", "status:notifyAlarms", or a group,
    /// whose items go as "status:notifyItems". Any other name sends nothing.
    void SendNotification(const std::string& name, std::list<std::string> recipients);

    Json::Value GetGroupInfoArray() const;                         ///< group objects of the summary
    Json::Value GetGroupDataArray(const std::string& group) const; ///< items in display order
    Json::Value GetItemDataArray(const std::string& group,
                                 int idx) const; ///< @throws CException "Cannot find
                                                 /// status item %d in group %s"
    Json::Value GetAlarmDataArray() const;

    /// The names that a listener asks for, as far as there is something to subscribe to: groups, "SUMM",
    /// "ALRM", "status:notifyGroupSummary" and "status:notifyAlarms". Empty unless all of them are.
    std::list<std::string> GetNotifyMethods(const Json::Value& params) const override;

    void OnStatusItem(const SStatus& item) override;
    void OnStatusSummary() override;
    void OnStatusAlarms() override;

    static constexpr unsigned kAlarmDelayMs = 100; ///< from the first change to the message

protected:
    void SendState(const std::string& name, const std::string& descriptor) override;
    bool FindNames(const Json::Value& request, Json::Value& response,
                   std::list<std::string>& names) const override;

private:
    bool IsSubscribable(const std::string& name) const;
    std::list<std::string> GetOtherRecipients(const char* name, const char* otherName) const;
    void MakeSummaryNotification(std::list<std::string> recipients);
    void MakeAlarmNotification(std::list<std::string> recipients);
    bool Subscribe(const char* method, const char* name, const Json::Value& request, Json::Value& response);
    bool Unsubscribe(const char* method, const char* name, const Json::Value& request, Json::Value& response);
    void LogReceived(const char* method, const Json::Value& request, const std::string& detail = {}) const;
    void LogCompleted(const char* method, const Json::Value& request, const std::string& detail = {}) const;
    void LogReceivedListener(const char* method, const Json::Value& request, const std::string& names,
                             bool sendNow) const;

    CStatusDb& mStatus;
    std::array<char, 1024> mBuffer{}; // of an item notification; all runs on the server's thread
    std::map<std::string, IAdditionalStatusInfoHandler*> mAdditional; // by group
};
