// Log-in and change of password; what a try costs and when it is made is the queue's business.
#include "software/bp/c4j/CC4jSession.h"

#include "software/bp/security/CLogInQueue.h"
#include "software/bp/security/CSecurityManager.h"
#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"
#include "software/bp/serial/EChangeMode.h"
#include "software/include/ILog.h"

#include <utility>

namespace
{
constexpr char kModule[] = "session";
constexpr unsigned kModuleVersion = 1;
constexpr char kConnect[] = "session:connect";
constexpr char kChangePassword[] = "session:changePassword";
constexpr char kChangeFailed[] = "User account password change failed: %s";
constexpr char kNobody[] = "Nobody is logged in by name";

/// A member of a request that must not stay in memory. What the parsed request holds goes with that.
class CSecretMember
{
public:
    CSecretMember(const Json::Value& request, const char* name)
        : mText(CC4jBaseHandler::GetStringFromObj(CC4jBaseHandler::GetParams(request), name, std::string()))
    {
    }
    CSecretMember(const CSecretMember&) = delete;
    CSecretMember& operator=(const CSecretMember&) = delete;
    ~CSecretMember() { CSecret::Wipe(mText); }
    const std::string& Get() const noexcept { return mText; }

private:
    std::string mText;
};

/// What a reply needs of its request, which is gone when that is written.
Json::Value HeadOf(const Json::Value& request)
{
    Json::Value head(Json::objectValue);
    for (const char* const member : {"id", "fd"})
        if (request.isMember(member))
            head[member] = request[member];
    return head;
}
} // namespace

CC4jSession::CC4jSession(CJsonRpcServer& server, CLogInQueue& logIns, const CSecurityManager& security,
                         const std::string& webToken)
    : CC4jBaseHandler(server, kModule, kModuleVersion)
    , mLogIns(logIns)
    , mSecurity(security)
    , mWebToken(webToken)
    , mGoneObserver(server.AddClientGoneObserver([this](unsigned id) { mClients.erase(id); }))
{
    static constexpr SMethod<CC4jSession> kMethods[] = {
        {"session:version", &CC4jSession::Version},
        {kChangePassword, &CC4jSession::ChangePassword},
        {kConnect, &CC4jSession::Connect},
    };
    AddMethods(*this, kMethods);
}

CC4jSession::~CC4jSession()
{
    mServer.RemoveClientGoneObserver(mGoneObserver);
}

bool CC4jSession::Connect(const Json::Value& request, Json::Value& response)
{
    if (!IsResponseRequired(request))
    {
        ConnectByToken(request);
        return true;
    }
    mLog.LogDebug("Recv'd '%s' from %s", kConnect, GetClientIdString(request).c_str());
    const std::string user = GetStringFromObj(GetParams(request), "user", std::string());
    const CSecretMember password(request, "pass");
    const int id = GetClientFd(request);
    if (user.empty() || password.Get().empty() || id < 0)
    {
        mLog.Log("Client - %d log-in failed: invalid parameter", id);
        MakeErrorResponse(request, response, eErrorInvalidParameter);
        return true;
    }
    Json::Rpc::Ticket ticket;
    if (!Defer(request, response, ticket))
        return true;
    const auto done = [this, ticket, user, head = HeadOf(request)](const SLogInResult& result)
    {
        if (!ticket.IsAwaited())
            return; // the client has gone, and this object perhaps too
        Json::Value reply;
        FinishConnect(head, user, result, reply);
        ticket.Answer(std::move(reply));
    };
    const auto number = static_cast<unsigned>(id);
    mLogIns.LogIn(user, password.Get(), mServer.GetClientAddress(number), mClients[number].mAlive, done);
    return false;
}

void CC4jSession::FinishConnect(const Json::Value& request, const std::string& user,
                                const SLogInResult& result, Json::Value& response)
{
    const auto id = static_cast<unsigned>(GetClientFd(request));
    if (result.mLevel != eAccessNone)
    {
        mServer.SetClientAccessLevel(id, result.mLevel);
        mClients[id].mUser = user;
        InitResponseObj(request, response);
        SetResult(response, true);
    }
    else
    {
        mLog.Log("Client - %d log-in failed: invalid username/password", static_cast<int>(id));
        MakeErrorResponse(request, response, eErrorAccessGroup, result.mMessage);
    }
    mLog.LogDebug("Completed '%s' from %s", kConnect, GetClientIdString(request).c_str());
}

void CC4jSession::ConnectByToken(const Json::Value& request)
{
    const CSecretMember token(request, "token");
    const int id = GetClientFd(request);
    if (mWebToken.Get().empty() || !CSecret::AreEqual(token.Get(), mWebToken.Get()) ||
        !mServer.SetClientAccessLevel(static_cast<unsigned>(id), eAccessProtected))
        mLog.Log("Web Client - %d log-in failed: invalid parameter", id);
}

bool CC4jSession::ChangePassword(const Json::Value& request, Json::Value& response)
{
    mLog.LogDebug("Recv'd '%s' from %s", kChangePassword, GetClientIdString(request).c_str());
    const CSecretMember current(request, "curr");
    const CSecretMember next(request, "new");
    if (current.Get().empty() || next.Get().empty())
    {
        mLog.Log(kChangeFailed, "invalid parameter");
        MakeErrorResponse(request, response, eErrorInvalidParameter);
        return true;
    }
    const auto id = static_cast<unsigned>(GetClientFd(request));
    const auto client = mClients.find(id);
    if (client == mClients.end() || client->second.mUser.empty()) // by token: that is no account
    {
        mLog.Log(kChangeFailed, kNobody);
        MakeErrorResponse(request, response, eErrorAccessGroup, kNobody);
        return true;
    }
    Json::Rpc::Ticket ticket;
    if (!Defer(request, response, ticket))
        return true;
    const auto changed = [this, ticket, head = HeadOf(request)](const SPasswordResult& result)
    {
        if (!ticket.IsAwaited())
            return;
        Json::Value reply;
        FinishChange(head, result, reply);
        ticket.Answer(std::move(reply));
    };
    mLogIns.ChangePassword(client->second.mUser, current.Get(), next.Get(), mServer.GetClientAddress(id),
                           client->second.mAlive, changed);
    return false;
}

void CC4jSession::FinishChange(const Json::Value& request, const SPasswordResult& result,
                               Json::Value& response)
{
    if (result.mError != eErrorNone)
    {
        mLog.Log(kChangeFailed, result.mMessage.c_str());
        MakeErrorResponse(request, response, result.mError, result.mMessage);
    }
    else
    {
        mLog.Log("Changed user account password");
        ShowGeneratedPassword();
        InitResponseObj(request, response);
        SetResult(response, true);
    }
    mLog.LogDebug("Completed '%s' from %s", kChangePassword, GetClientIdString(request).c_str());
}

void CC4jSession::ShowGeneratedPassword()
{
    CProjCon* const control = mDispatcher.GetControl(kGeneratedPasswordCode);
    if (control == nullptr)
        mLog.Log("Generated account password change failed: projcon not found");
    else if (control->SetText(mSecurity.GetGeneratedPassword(), eChangeNoApply) != eErrorNone)
        mLog.Log("Generated account password change failed");
}

// A caller that is no connection of the server cannot wait, and has no level to raise.
bool CC4jSession::Defer(const Json::Value& request, Json::Value& response, Json::Rpc::Ticket& ticket)
{
    ticket = mServer.Defer();
    if (ticket.IsAwaited() && mServer.IsClientConnected(static_cast<unsigned>(GetClientFd(request))))
        return true;
    MakeErrorResponse(request, response, eErrorRequestNotSupported);
    return false;
}
