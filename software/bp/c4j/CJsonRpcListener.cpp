// A reserve descriptor makes room for closing whom there is no room for.
#include "software/bp/c4j/CJsonRpcListener.h"

#include "software/include/ILog.h"
#include "software/utility/CSelectWrapper.h"
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
constexpr int kMaxClosed = 64;            // a pause, so that a rush of connections delays nobody for long
constexpr std::chrono::seconds kPause{1}; // when descriptors have run out

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
    {IPPROTO_TCP, TCP_USER_TIMEOUT, static_cast<int>(CJsonRpcListener::kPeerTimeoutMs)},
};

CJsonRpcListener::SConnection AcceptFrom(int listener)
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

CJsonRpcListener::CJsonRpcListener(CSelectWrapper& select, ILog& log)
    : mSelect(select)
    , mLog(log)
    , mReserve(OpenReserve())
{
}

void CJsonRpcListener::Watch(int listener)
{
    if (mWatched == listener)
        return;
    mWatched = listener; // closing the old one has taken it out of the set
    mIsPaused = false;
    if (mWatched >= 0)
        mSelect.Add(mWatched, kTag);
}

CJsonRpcListener::SConnection CJsonRpcListener::Accept(int listener)
{
    SConnection accepted = AcceptFrom(listener);
    if (accepted.mSocket.IsOpen())
    {
        if (std::exchange(mHasRunOut, false))
            mLog.Log("JSON-RPC connections are accepted again");
    }
    else if (HasRunOut(errno)) // anything else is the failure of one connection
        Pause(listener, errno);
    return accepted;
}

void CJsonRpcListener::Pause(int listener, int error)
{
    if (!std::exchange(mHasRunOut, true))
        mLog.LogWarning("Unable to accept JSON-RPC connections: %s (%d); they are closed until there is room",
                        std::strerror(error), error);
    CloseWaiting(listener);
    mPausedUntil = std::chrono::steady_clock::now() + kPause;
    if (mWatched < 0 || std::exchange(mIsPaused, true))
        return;
    mSelect.Watch(mWatched, kTag, false, false);
}

void CJsonRpcListener::CloseWaiting(int listener)
{
    mReserve.Reset();
    for (int i = 0; i < kMaxClosed; ++i)
    {
        if (!AcceptFrom(listener).mSocket.IsOpen())
            break;
    }
    mReserve = OpenReserve();
}

unsigned CJsonRpcListener::LimitToPause(unsigned timeoutMs)
{
    if (!mIsPaused)
        return timeoutMs;
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(mPausedUntil -
                                                                            std::chrono::steady_clock::now());
    if (left.count() > 0)
        return std::min(timeoutMs, static_cast<unsigned>(left.count()));
    Resume();
    return timeoutMs;
}

void CJsonRpcListener::Resume()
{
    if (std::exchange(mIsPaused, false))
        mSelect.Watch(mWatched, kTag, true, false);
}

bool CJsonRpcListener::Admits(std::uint32_t peer, std::size_t clients, std::size_t maxClients,
                              std::size_t maxOfPeer)
{
    if (clients >= maxClients)
    {
        if (!std::exchange(mIsFull, true))
            mLog.LogWarning("JSON-RPC client limit of %zu reached; further connections are closed",
                            maxClients);
        return false;
    }
    const auto found = mPeers.find(peer);
    if (found == mPeers.end() || found->second.mClients < maxOfPeer)
        return true;
    if (!std::exchange(found->second.mIsFull, true))
        mLog.LogWarning("JSON-RPC client limit of %zu for one address reached by %s; its further connections "
                        "are closed",
                        maxOfPeer, AddressText(peer).c_str());
    return false;
}

void CJsonRpcListener::Leave(std::uint32_t peer)
{
    mIsFull = false;
    const auto found = mPeers.find(peer);
    if (found == mPeers.end())
        return;
    found->second.mIsFull = false;
    if (--found->second.mClients == 0)
        mPeers.erase(found);
}

void CJsonRpcListener::SetOptions(int socket)
{
    for (const SOption& option : kOptions) // the connection works without them too
        (void)::setsockopt(socket, option.mLevel, option.mName, &option.mValue, sizeof option.mValue);
}

std::string CJsonRpcListener::AddressText(std::uint32_t address)
{
    char text[INET_ADDRSTRLEN] = "";
    ::inet_ntop(AF_INET, &address, text, sizeof text);
    return text;
}
