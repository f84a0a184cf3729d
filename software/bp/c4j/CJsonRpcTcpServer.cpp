// Connections and output of the JSON-RPC server.
#include "software/bp/c4j/CJsonRpcTcpServer.h"

#include "software/bp/c4j/NJsonRpcBuffer.h"
#include "software/include/ILog.h"
#include "software/jsonrpc/NJsonText.h"
#include "software/utility/CException.h"
#include "software/utility/NPosix.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace
{
constexpr char kSource[] = "software/bp/c4j/CJsonRpcTcpServer";
constexpr std::uint64_t kListenerTag = 0; // before every client's
constexpr int kMaxAccepts = 64;           // a pass, so that a rush of connections delays nobody for long
constexpr std::size_t kFlushBytes = std::size_t{16} << 10; // replies are joined up to here
constexpr std::chrono::seconds kPause{1};                  // of the listener when descriptors have run out

std::uint64_t TagOf(std::uint32_t id)
{
    return std::uint64_t{id} + 1;
}

std::uint32_t IdOf(std::uint64_t tag)
{
    return static_cast<std::uint32_t>(tag - 1);
}

// Small replies leave at once, and a peer that vanished without a word is noticed: asked after a minute of
// silence, then every quarter of one, and given up after as long without any answer.
struct SOption
{
    int mLevel;
    int mName;
    int mValue;
};
constexpr SOption kOptions[] = {
    {IPPROTO_TCP, TCP_NODELAY, 1},
    {SOL_SOCKET, SO_KEEPALIVE, 1},
    {IPPROTO_TCP, TCP_KEEPIDLE, 60},
    {IPPROTO_TCP, TCP_KEEPINTVL, 15},
    {IPPROTO_TCP, TCP_USER_TIMEOUT, static_cast<int>(CJsonRpcTcpServer::kPeerTimeoutMs)},
};

void SetOptions(int socket)
{
    for (const SOption& option : kOptions) // the connection works without them too
        (void)::setsockopt(socket, option.mLevel, option.mName, &option.mValue, sizeof option.mValue);
}

struct SAccepted
{
    CDescriptor mSocket;
    std::uint32_t mPeer; // IPv4 address, network order
};

SAccepted AcceptFrom(int listener)
{
    sockaddr_in peer{};
    socklen_t size = sizeof peer;
    CDescriptor socket(NPosix::RetryOnInterrupt(
        [&] {
            return ::accept4(listener, reinterpret_cast<sockaddr*>(&peer), &size,
                             SOCK_NONBLOCK | SOCK_CLOEXEC);
        }));
    return {std::move(socket), peer.sin_addr.s_addr};
}

std::string AddressText(std::uint32_t address)
{
    char text[INET_ADDRSTRLEN] = "";
    ::inet_ntop(AF_INET, &address, text, sizeof text);
    return text;
}

ssize_t SendSome(int socket, const char* bytes, std::size_t size)
{
    return NPosix::RetryOnInterrupt([=] { return ::send(socket, bytes, size, MSG_DONTWAIT | MSG_NOSIGNAL); });
}

// The listener stays readable after these, as no connection was taken from it.
bool HasRunOut(int error)
{
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

CDescriptor OpenReserve()
{
    return CDescriptor(NPosix::RetryOnInterrupt([] { return ::open("/dev/null", O_RDONLY | O_CLOEXEC); }));
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
    , mReserve(OpenReserve())
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
    SAccepted accepted = AcceptFrom(GetSocket());
    if (!accepted.mSocket.IsOpen())
    {
        if (HasRunOut(errno))
            PauseListener(errno);
        return false; // anything else is the failure of one connection
    }
    if (std::exchange(mHasRunOut, false))
        mLog.Log("JSON-RPC connections are accepted again");
    if (Admits(accepted.mPeer))
        AddClient(std::move(accepted.mSocket), accepted.mPeer);
    return true;
}

void CJsonRpcTcpServer::WaitMessage(unsigned timeoutMs)
{
    if (mWalks > 0) // from within a method: the receive buffer is in use
        return;
    const CWalk walk(*this);
    WatchListener();
    mSelect.Wait(LimitToPause(mInput.HasWork() ? 0 : timeoutMs));
    std::uint32_t nextId = 0; // of those whose turn is still to come
    // By index and by value: a new connection may move the list.
    for (std::size_t i = 0; i < mSelect.GetReady().size(); ++i)
    {
        const CSelectWrapper::SReady ready = mSelect.GetReady()[i];
        if (ready.mTag == kListenerTag)
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
    return client == nullptr ? std::string() : AddressText(client->mPeer);
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
    if (client->GetUnsent() > 0) // its earlier replies go first
        Flush(*client);
    if (client->mDoomed || client->mSendError != 0)
    {
        errno = client->mDoomed ? EPIPE : client->mSendError;
        return ESend::Failed;
    }
    if (client->GetUnsent() > 0)
    {
        errno = EAGAIN;
        return ESend::Blocked;
    }
    const std::size_t size = text.size() + 1; // a std::string has a NUL behind its end
    std::size_t sent = 0;
    while (sent < size)
    {
        const ssize_t step = SendSome(client->mSocket.Get(), text.c_str() + sent, size - sent);
        if (step >= 0)
        {
            sent += static_cast<std::size_t>(step);
            continue;
        }
        if (sent == 0)
            return errno == EAGAIN ? ESend::Blocked : ESend::Failed;
        client->mOutput.append(text.c_str() + sent, size - sent);
        if (errno != EAGAIN)
        {
            const int error = errno;
            FailOutput(*client, error);
            errno = error;
            return ESend::Failed;
        }
        Watch(*client, client->mWatchesRead, true);
        Charge(*client);
        break;
    }
    return ESend::Sent;
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

// Listening begins and ends without a word to this class, so each pass looks.
void CJsonRpcTcpServer::WatchListener()
{
    if (mWatchedListener == GetSocket())
        return;
    mWatchedListener = GetSocket(); // closing the old one has taken it out of the set
    mListenerPaused = false;
    if (mWatchedListener >= 0)
        mSelect.Add(mWatchedListener, kListenerTag);
}

void CJsonRpcTcpServer::AcceptWaiting()
{
    for (int i = 0; i < kMaxAccepts && Accept(); ++i)
        continue;
}

// Without the pause the listener would stay ready and every pass would end at once, for nothing.
void CJsonRpcTcpServer::PauseListener(int error)
{
    if (!std::exchange(mHasRunOut, true))
        mLog.LogWarning("Unable to accept JSON-RPC connections: %s (%d); they are closed until there is room",
                        std::strerror(error), error);
    CloseWaiting();
    mPausedUntil = std::chrono::steady_clock::now() + kPause;
    if (mWatchedListener < 0 || std::exchange(mListenerPaused, true))
        return;
    mSelect.Watch(mWatchedListener, kListenerTag, false, false);
}

// Gives up the reserve descriptor for a moment, so that whoever waits is told now instead of left hanging.
void CJsonRpcTcpServer::CloseWaiting()
{
    mReserve.Reset();
    for (int i = 0; i < kMaxAccepts; ++i)
    {
        if (!AcceptFrom(GetSocket()).mSocket.IsOpen())
            break;
    }
    mReserve = OpenReserve();
}

void CJsonRpcTcpServer::ResumeListener()
{
    if (std::exchange(mListenerPaused, false))
        mSelect.Watch(mWatchedListener, kListenerTag, true, false);
}

unsigned CJsonRpcTcpServer::LimitToPause(unsigned timeoutMs)
{
    if (!mListenerPaused)
        return timeoutMs;
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(mPausedUntil -
                                                                            std::chrono::steady_clock::now());
    if (left.count() > 0)
        return std::min(timeoutMs, static_cast<unsigned>(left.count()));
    ResumeListener();
    return timeoutMs;
}

// Says so once when there is none, and again only after there was some.
bool CJsonRpcTcpServer::Admits(std::uint32_t peer)
{
    if (mClients.size() >= mLimits.mMaxClients)
    {
        if (!std::exchange(mIsFull, true))
            mLog.LogWarning("JSON-RPC client limit of %zu reached; further connections are closed",
                            mLimits.mMaxClients);
        return false;
    }
    const auto found = mPeers.find(peer);
    if (found == mPeers.end() || found->second.mClients < mLimits.mMaxClientsPerPeer)
        return true;
    if (!std::exchange(found->second.mIsFull, true))
        mLog.LogWarning("JSON-RPC client limit of %zu for one address reached by %s; its further connections "
                        "are closed",
                        mLimits.mMaxClientsPerPeer, AddressText(peer).c_str());
    return false;
}

void CJsonRpcTcpServer::AddClient(CDescriptor socket, std::uint32_t peer)
{
    SetOptions(socket.Get());
    while (mClientsById.count(SJsonRpcClient::mGlobalId) > 0) // of one that was there before ids began again
        SJsonRpcClient::mGlobalId = SJsonRpcClient::NextId(SJsonRpcClient::mGlobalId);
    const auto position = mClients.insert(mClients.end(), std::make_unique<SJsonRpcClient>(socket.Release()));
    SJsonRpcClient& client = **position;
    try
    {
        mSelect.Add(client.mSocket.Get(), TagOf(client.mId));
    }
    catch (const CException& failure)
    {
        mLog.LogWarning("Connection from %s is closed: %s", client.mName.c_str(), failure.what());
        mClients.erase(position);
        return;
    }
    mClientsById.emplace(client.mId, position);
    client.mPeer = peer;
    ++mPeers[peer].mClients;
    LogClient("Accepted connection from", client);
}

void CJsonRpcTcpServer::ForgetPeer(std::uint32_t peer)
{
    const auto found = mPeers.find(peer);
    if (found == mPeers.end())
        return;
    found->second.mIsFull = false;
    if (--found->second.mClients == 0)
        mPeers.erase(found);
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
        Flush(client);
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

void CJsonRpcTcpServer::WatchInput(SJsonRpcClient& client, bool watch)
{
    Watch(client, watch, client.mWatchesWrite);
}

void CJsonRpcTcpServer::EndTurn(SJsonRpcClient& client)
{
    if (!client.mWatchesWrite)
        Flush(client);
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

void CJsonRpcTcpServer::AppendReply(SJsonRpcClient& client, const Json::Value& response)
{
    if (client.mSendError != 0)
        return LogReplyFailure(client, client.mSendError);
    NJsonText::Append(response, client.mOutput);
    client.mOutput += '\0';
    // A socket that took too little says itself when it takes more; before the end it is asked once more.
    const std::size_t flushAt = client.mWatchesWrite ? kMaxOutput + 1 : kFlushBytes;
    if (client.GetUnsent() >= flushAt)
        Flush(client);
    if (client.GetUnsent() <= kMaxOutput)
        return;
    LogReplyFailure(client, EAGAIN);
    DropOutput(client);
    Doom(client);
}

void CJsonRpcTcpServer::Flush(SJsonRpcClient& client)
{
    while (client.GetUnsent() > 0)
    {
        const ssize_t step =
            SendSome(client.mSocket.Get(), client.mOutput.data() + client.mOutputSent, client.GetUnsent());
        if (step < 0 && errno != EAGAIN)
            return FailOutput(client, errno);
        if (step < 0)
        {
            if (client.mOutputSent > client.GetUnsent()) // moves each byte at most once
            {
                client.mOutput.erase(0, client.mOutputSent);
                client.mOutputSent = 0;
            }
            return Watch(client, client.mWatchesRead, true);
        }
        client.mOutputSent += static_cast<std::size_t>(step);
    }
    DropOutput(client);
}

void CJsonRpcTcpServer::Watch(SJsonRpcClient& client, bool read, bool write)
{
    if (client.mWatchesRead == read && client.mWatchesWrite == write)
        return;
    mSelect.Watch(client.mSocket.Get(), TagOf(client.mId), read, write);
    client.mWatchesRead = read;
    client.mWatchesWrite = write;
}

// A message may have been cut, so that nothing can follow; the next read sees the end and purges.
void CJsonRpcTcpServer::FailOutput(SJsonRpcClient& client, int error)
{
    LogReplyFailure(client, error);
    client.mSendError = error;
    DropOutput(client);
    (void)::shutdown(client.mSocket.Get(), SHUT_RDWR);
}

void CJsonRpcTcpServer::DropOutput(SJsonRpcClient& client)
{
    NJsonRpcBuffer::Empty(client.mOutput);
    client.mOutputSent = 0;
    Watch(client, client.mWatchesRead, false);
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
    DropOutput(client);
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
    Flush(client);
    client.mDoomed = true;
    mPendingBytes -= std::exchange(client.mCharged, 0);
    mSelect.Remove(client.mSocket.Get());
    client.mSocket.Reset();
    mClientsById.erase(client.mId);
    mInput.Forget(client.mId);
    mRemoved.splice(mRemoved.end(), mClients, position);
    ForgetPeer(client.mPeer);
    mIsFull = false;
    ResumeListener();
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

void CJsonRpcTcpServer::LogReplyFailure(const SJsonRpcClient& client, int error) const
{
    if (mLog.IsEnabled(ELogLevel::Debug))
        mLog.LogDebug("Unable to reply to client %s [ID:%d] %s (%d)", client.mName.c_str(),
                      static_cast<int>(client.mId), std::strerror(error), error);
}
