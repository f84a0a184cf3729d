// A projector on the network.
#pragma once

#include "apps/lanternctl/IProjectorLink.h"
#include "apps/lanternctl/NWait.h"
#include "software/bp/c4j/CJsonRpcTcpClient.h"

#include <deque>
#include <string>

/// JSON-RPC over TCP, one request at a time. What the projector sends unasked while a reply is awaited is
/// kept for `WaitForChange`.
class CTcpLink : public IProjectorLink
{
public:
    /// Connects.
    /// @param timeout  longest wait for the connection and for each reply, above 0
    CTcpLink(const std::string& host, unsigned short port, std::chrono::milliseconds timeout);

    Json::Value Get(const std::string& code) override;
    Json::Value Set(const std::string& code, const Json::Value& value) override;
    std::optional<CControlInfo> Describe(const std::string& code, ENeed need) override;
    std::vector<std::string> GetStatusGroups() override;
    std::vector<Json::Value> GetStatusItems(const std::string& group) override;
    std::vector<Json::Value> GetAlarms() override;
    void Watch(const std::vector<std::string>& codes) override;
    void WatchAlarms() override;
    EWait WaitForChange(Json::Value& change, std::optional<std::chrono::milliseconds> timeout,
                        int interrupt) override;

    // What only the network offers.

    /// The controls whose codes begin with the prefix, by ascending code; all for an empty one.
    std::vector<CControlInfo> List(const std::string& prefix);
    /// A menu by its control's code, with all its entries in "items".
    Json::Value GetMenu(const std::string& code);
    /// @param method  one that takes a code
    void ChangeFavorites(const std::string& method, const std::string& code);
    /// Any method by its name. @param parameters  an array or object, null for none
    /// Raises the level of this connection, which takes as long as the projector makes others wait who guess.
    /// @throws CCommandFailure (refused) with the projector's words
    void LogIn(const std::string& user, const std::string& password);
    Json::Value Call(const std::string& method, const Json::Value& parameters);

private:
    /// @param subject  what a refusal is about, in front of its text
    Json::Value Request(const std::string& subject, const std::string& method, const Json::Value& parameters);
    Json::Value Request(const std::string& subject, const std::string& method, const Json::Value& parameters,
                        std::chrono::milliseconds timeout);
    /// A request about one control, whose answer is the members of an object.
    Json::Value RequestMembers(const std::string& code, const std::string& method,
                               const Json::Value& parameters);
    /// A request whose answer is an array. @param what  its elements, for a complaint
    std::vector<Json::Value> RequestArray(const std::string& subject, const std::string& method,
                                          const Json::Value& parameters, const char* what);
    std::vector<Json::Value> RequestItems(const std::string& subject, const std::string& method,
                                          const Json::Value& parameters);
    void Connect();
    void Send(const Json::Value& request);
    void Sort(const Json::Value& message);
    /// Takes in what has arrived; `Change` means that there may be something new.
    EWait Receive(const NWait::Deadline& deadline, int interrupt);
    [[noreturn]] void LoseConnection() const;

    const std::string mName; // host:port, for messages
    const std::string mHost;
    const std::chrono::milliseconds mTimeout;
    CJsonRpcTcpClient mClient;
    int mLastId = 0;
    std::deque<Json::Value> mChanges;  // parameters of notifications, oldest first
    std::optional<Json::Value> mReply; // to the request with the last id
};
