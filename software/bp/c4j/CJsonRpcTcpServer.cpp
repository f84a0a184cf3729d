// Connections, turns and the account of what all clients hold.
#include "software/bp/c4j/CJsonRpcTcpServer.h"

#include "software/bp/c4j/NJsonRpcBuffer.h"
#include "software/include/ILog.h"
#include "software/utility/CException.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace
{
constexpr char kSource[] = "software/bp/c4j/CJsonRpcTcpServer";
constexpr int kMaxAccepts = 64; // a pass, so that a rush of connections delays nobody for long

std::uint32_t IdOf(std::uint64_t tag)
{
    return static_cast<std::uint32_t>(tag - 1);
}

} // namespace

// Whoever holds a client while others may be called. What is removed meanwhile is deleted when the last walk
// ends.
class CJsonRpcTcpServer::CWalk
{
public:
    explicit CWalk(CJsonRpcTcpServer& server)
        : mServer(server)
    {
        ++mServer.mWalks;
    }
    CWalk(const CWalk&) = delete;
    CWalk& operator=(const CWalk&) = delete;
    ~CWalk()
    {
        if (--mServer.mWalks == 0)
            mServer.mRemoved.clear();
    }

private:
    CJsonRpcTcpServer& mServer;
};

CJsonRpcTcpServer::CJsonRpcTcpServer(const std::string& address, unsigned short port, ILog& log)
    : Server(address, port)
    , mLog(log)
    , mInput(GetHandler(), *this, log)
    , mListener(mSelect, log)
    , mOutput(mSelect, log)
{
    SetProtocol(IPPROTO_TCP);
    GetHandler().SetFailureObserver(
        [this](const std::string& method, const char* text) {
            mLog.LogWarning("JSON-RPC method %s failed, answered as an internal error: %s", method.c_str(),
                            text);
        });
}

CJsonRpcTcpServer::~CJsonRpcTcpServer()
{
    CJsonRpcTcpServer::Close();
}

bool CJsonRpcTcpServer::Listen() const
{
    return ::listen(GetSocket(), SOMAXCONN) == 0;
}

bool CJsonRpcTcpServer::Accept()
{
    if (GetSocket() < 0)
        return false;
    CJsonRpcListener::SConnection accepted = mListener.Accept(GetSocket());
    if (!accepted.mSocket.IsOpen())
        return false;
    if (mListener.Admits(accepted.mPeer, mClients.size(), mLimits.mMaxClients, mLimits.mMaxClientsPerPeer))
        AddClient(std::move(accepted.mSocket), accepted.mPeer);
    return true;
}

void CJsonRpcTcpServer::WaitMessage(unsigned timeoutMs)
{
    if (mWalks > 0) // from within a method: the receive buffer is in use
        return;
    const CWalk walk(*this);
    mListener.Watch(GetSocket());
    mSelect.Wait(mListener.LimitToPause(mInput.HasWork() ? 0 : timeoutMs));
    std::uint32_t nextId = 0; // of those whose turn is still to come
    // By index and by value: a new connection may move the list.
    for (std::size_t i = 0; i < mSelect.GetReady().size(); ++i)
    {
        const CSelectWrapper::SReady ready = mSelect.GetReady()[i];
        if (ready.mTag == CJsonRpcListener::kTag)
        {
            AcceptWaiting();
            continue;
        }
        const std::uint32_t id = IdOf(ready.mTag);
        ServeHeldBack(nextId, id);
        ServeClient(id, ready);
        nextId = id + 1;
    }
    ServeHeldBack(nextId, UINT32_MAX);
    Purge();
}

void CJsonRpcTcpServer::Recv(ClientList::iterator position)
{
    const CWalk walk(*this);
    mInput.Receive(**position);
}

void CJsonRpcTcpServer::Send(unsigned id, const std::string& text)
{
    const ESend result = TrySend(id, text);
    if (result != ESend::Sent)
        throw MakeSendFailure(id, result);
}

bool CJsonRpcTcpServer::IsClientConnected(unsigned id) const noexcept
{
    return Find(id) != nullptr;
}

bool CJsonRpcTcpServer::SetClientAccessLevel(unsigned id, EAccessLevel level)
{
    SJsonRpcClient* const client = Find(id);
    if (client == nullptr)
        return false;
    client->mAccessLevel = level;
    return true;
}

EAccessLevel CJsonRpcTcpServer::GetClientAccessLevel(unsigned id) const noexcept
{
    const SJsonRpcClient* const client = Find(id);
    return client == nullptr ? eAccessUser : client->mAccessLevel;
}

std::string CJsonRpcTcpServer::GetClientAddress(unsigned id) const
{
    const SJsonRpcClient* const client = Find(id);
    return client == nullptr ? std::string() : CJsonRpcListener::AddressText(client->mPeer);
}

void CJsonRpcTcpServer::ForceClose(unsigned id)
{
    const auto found = mClientsById.find(id);
    if (found == mClientsById.end())
        return;
    LogClient("Force closing connection from", **found->second);
    Remove(found->second);
}

void CJsonRpcTcpServer::Close()
{
    while (!mClients.empty())
        Remove(mClients.begin());
}

unsigned CJsonRpcTcpServer::AddClientGoneObserver(ClientGoneObserver observer)
{
    mGoneObservers.emplace(mNextObserver, std::move(observer));
    return mNextObserver++;
}

void CJsonRpcTcpServer::OnClientGone(unsigned) {}

CJsonRpcTcpServer::ESend CJsonRpcTcpServer::TrySend(unsigned id, const std::string& text)
{
    SJsonRpcClient* const client = Find(id);
    if (client == nullptr)
        return ESend::Unknown;
    const ESend result = mOutput.Send(*client, text);
    if (result == ESend::Sent && client->GetUnsent() > 0)
        Charge(*client);
    return result;
}

CException CJsonRpcTcpServer::MakeSendFailure(unsigned id, ESend result) const
{
    const int number = static_cast<int>(id);
    const SJsonRpcClient* const client = Find(id);
    if (result == ESend::Unknown || client == nullptr)
        return CException("Send", kSource, __LINE__, false,
                          "Unable to send data to client ID:%d (client not found)", number);
    return CException("Send", kSource, __LINE__, true, "Unable to send data to client %s [ID:%d]",
                      client->mName.c_str(), number);
}

SJsonRpcClient* CJsonRpcTcpServer::Find(unsigned id) const noexcept
{
    const auto found = mClientsById.find(id);
    return found == mClientsById.end() ? nullptr : found->second->get();
}

void CJsonRpcTcpServer::AcceptWaiting()
{
    for (int i = 0; i < kMaxAccepts && Accept(); ++i)
        continue;
}

void CJsonRpcTcpServer::AddClient(CDescriptor socket, std::uint32_t peer)
{
    CJsonRpcListener::SetOptions(socket.Get());
    while (mClientsById.count(SJsonRpcClient::mGlobalId) > 0) // of one that was there before ids began again
        SJsonRpcClient::mGlobalId = SJsonRpcClient::NextId(SJsonRpcClient::mGlobalId);
    const auto position = mClients.insert(mClients.end(), std::make_unique<SJsonRpcClient>(socket.Release()));
    SJsonRpcClient& client = **position;
    try
    {
        mSelect.Add(client.mSocket.Get(), client.GetTag());
    }
    catch (const CException& failure)
    {
        mLog.LogWarning("Connection from %s is closed: %s", client.mName.c_str(), failure.what());
        mClients.erase(position);
        return;
    }
    mClientsById.emplace(client.mId, position);
    client.mPeer = peer;
    mListener.Enter(peer);
    LogClient("Accepted connection from", client);
}

void CJsonRpcTcpServer::ServeClient(std::uint32_t id, const CSelectWrapper::SReady& ready)
{
    const auto found = mClientsById.find(id);
    if (found == mClientsById.end())
        return; // closed earlier in this pass
    const ClientList::iterator position = found->second;
    SJsonRpcClient& client = **position;
    if (ready.mWritable && !client.mDoomed)
    {
        mOutput.Flush(client);
        Charge(client);
    }
    if (client.mDoomed)
        return;
    if (client.mWatchesRead && ready.mReadable)
        Recv(position);
    else if (!client.mWatchesRead)
        mInput.GoOn(client, ready.mReadable);
}

// Gives each client whose input was held back and whose id lies in the range its turn.
void CJsonRpcTcpServer::ServeHeldBack(std::uint32_t firstId, std::uint32_t endId)
{
    // Looked up anew each time: a method may close any client.
    for (std::uint32_t id = mInput.NextWithWork(firstId); id < endId; id = mInput.NextWithWork(id + 1))
    {
        if (SJsonRpcClient* const client = Find(id))
            mInput.GoOn(*client, false);
        else
            mInput.Forget(id);
    }
}

void CJsonRpcTcpServer::AppendReply(SJsonRpcClient& client, const Json::Value& response)
{
    if (!mOutput.AppendReply(client, response))
        Doom(client);
}

void CJsonRpcTcpServer::WatchInput(SJsonRpcClient& client, bool watch)
{
    mOutput.Watch(client, watch, client.mWatchesWrite);
}

void CJsonRpcTcpServer::EndTurn(SJsonRpcClient& client)
{
    if (!client.mWatchesWrite)
        mOutput.Flush(client);
    Charge(client);
}

void CJsonRpcTcpServer::LoseInput(SJsonRpcClient& client)
{
    LogClient("Terminated connection from", client);
    Doom(client);
}

void CJsonRpcTcpServer::RefuseInput(SJsonRpcClient& client)
{
    mLog.Log("Terminating connection, bad message framing from %s [ID:%d]", client.mName.c_str(),
             static_cast<int>(client.mId));
    Doom(client);
}

void CJsonRpcTcpServer::Recount(SJsonRpcClient& client)
{
    std::size_t held = client.mPending.size() + client.GetUnsent();
    if (client.mExchange != nullptr && !client.mDoomed)
        held += client.mExchange->GetWeight();
    mPendingBytes += held - client.mCharged;
    client.mCharged = held;
}

void CJsonRpcTcpServer::Charge(SJsonRpcClient& client)
{
    Recount(client);
    while (mPendingBytes > mLimits.mMaxPendingBytes && PurgeGreediest())
        continue;
}

bool CJsonRpcTcpServer::PurgeGreediest()
{
    const auto greediest = std::max_element(mClients.begin(), mClients.end(),
                                            [](const auto& left, const auto& right)
                                            { return left->mCharged < right->mCharged; });
    if (greediest == mClients.end() || (*greediest)->mCharged == 0)
        return false;
    SJsonRpcClient& client = **greediest;
    mLog.LogWarning("%zu bytes are pending for all JSON-RPC clients, the limit is %zu; "
                    "purging %s [ID:%d], which has %zu of them",
                    mPendingBytes, mLimits.mMaxPendingBytes, client.mName.c_str(),
                    static_cast<int>(client.mId), client.mCharged);
    mOutput.Drop(client);
    Doom(client);
    Recount(client);
    return true;
}

// Replies that are complete leave before the connection is closed; see Remove.
void CJsonRpcTcpServer::Doom(SJsonRpcClient& client)
{
    if (std::exchange(client.mDoomed, true))
        return;
    mPurge.push_back(client.mId);
    NJsonRpcBuffer::Empty(client.mPending);
    Recount(client);
}

void CJsonRpcTcpServer::Purge()
{
    for (std::size_t i = 0; i < mPurge.size(); ++i) // whoever is told of one may cost further ones
    {
        const auto found = mClientsById.find(mPurge[i]);
        if (found == mClientsById.end())
            continue;
        LogClient("Purging connection from", **found->second);
        Remove(found->second);
    }
    mPurge.clear();
}

void CJsonRpcTcpServer::Remove(ClientList::iterator position)
{
    const CWalk walk(*this);
    SJsonRpcClient& client = **position;
    mOutput.Flush(client);
    client.mDoomed = true;
    mPendingBytes -= std::exchange(client.mCharged, 0);
    mSelect.Remove(client.mSocket.Get());
    client.mSocket.Reset();
    mClientsById.erase(client.mId);
    mInput.Forget(client.mId);
    mRemoved.splice(mRemoved.end(), mClients, position);
    mListener.Leave(client.mPeer);
    mListener.Resume();
    TellGone(client.mId);
}

void CJsonRpcTcpServer::TellGone(unsigned id) noexcept
{
    const auto guarded = [this](const ClientGoneObserver& tell, unsigned gone)
    {
        try
        {
            tell(gone);
        }
        catch (const std::exception& failure)
        {
            mLog.LogError("Not everything kept for JSON-RPC client [ID:%d] could be dropped: %s",
                          static_cast<int>(gone), failure.what());
        }
    };
    // A derived class that overrides it closes in its own destructor, so nothing is bypassed in this one.
    // NOLINTNEXTLINE(clang-analyzer-optin.cplusplus.VirtualCall)
    guarded([this](unsigned gone) { OnClientGone(gone); }, id);
    for (auto next = mGoneObservers.begin(); next != mGoneObservers.end();)
    {
        const auto [number, observer] = *next; // a copy: it may remove itself
        guarded(observer, id);
        next = mGoneObservers.upper_bound(number);
    }
}

void CJsonRpcTcpServer::LogClient(const char* what, const SJsonRpcClient& client) const
{
    if (mLog.IsEnabled(ELogLevel::Debug))
        mLog.LogDebug("%s %s [ID:%d]", what, client.mName.c_str(), static_cast<int>(client.mId));
}
