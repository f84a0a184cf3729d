// The methods of the module "session": who a client is.
#pragma once

#include "software/bp/c4j/CC4jBaseHandler.h"
#include "software/bp/security/CSecret.h"
#include "software/jsonrpc/Ticket.h"

#include <memory>
#include <string>
#include <unordered_map>

class CLogInQueue;
class CSecurityManager;
struct SLogInResult;
struct SPasswordResult;

/// Raises the access level of a client, for as long as its connection lasts: by name and password, or by the
/// token that only the web pages of the projector itself know. Checking a password takes its time; the client
/// waits for it, all others go on.
class CC4jSession : public CC4jBaseHandler
{
public:
    /// @param logIns    neither it nor `security` is owned; both must outlive this
    /// @param webToken  empty: nobody can log in by a token
    CC4jSession(CJsonRpcServer& server, CLogInQueue& logIns, const CSecurityManager& security,
                const std::string& webToken);
    ~CC4jSession() override;

    /// {"user", "pass"}: true, and the caller's level is the account's; error 117 with the reason, error 3
    /// when one of them is missing or empty. Without "id" {"token"}: level 6, or nothing; never a reply.
    bool Connect(const Json::Value& request, Json::Value& response);
    /// {"curr", "new"}: true, and the password of the account that the caller logged in with is the new one.
    /// Error 3 when one of the two is missing or empty, 117 when the caller has not logged in by name; else
    /// as of `CSecurityManager::ChangePassword`, 118 when it was not tried.
    bool ChangePassword(const Json::Value& request, Json::Value& response);

    static constexpr char kGeneratedPasswordCode[] = "GPW"; ///< control that shows the generated password

private:
    struct SClient
    {
        std::string mUser;                                           // logged in; empty: nobody by name
        std::shared_ptr<const int> mAlive = std::make_shared<int>(); // owns the tries of this client
    };

    void ConnectByToken(const Json::Value& request);
    void FinishConnect(const Json::Value& request, const std::string& user, const SLogInResult& result,
                       Json::Value& response);
    void FinishChange(const Json::Value& request, const SPasswordResult& result, Json::Value& response);
    void ShowGeneratedPassword();
    bool Defer(const Json::Value& request, Json::Value& response, Json::Rpc::Ticket& ticket);

    CLogInQueue& mLogIns;
    const CSecurityManager& mSecurity;
    const CSecret mWebToken;
    std::unordered_map<unsigned, SClient> mClients; // by id; who tried to log in
    const unsigned mGoneObserver;
};
