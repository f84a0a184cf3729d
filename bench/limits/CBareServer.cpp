// Level-triggered epoll over blocking sockets.
#include "bench/limits/CBareServer.h"

#include "bench/support/NLoopback.h"
#include "software/utility/CException.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/socket.h>

namespace
{
constexpr char kSource[] = "bench/limits/CBareServer";
constexpr int kEventsAtOnce = 1024;
constexpr std::size_t kReadSize = 4096; // the size that the JSON-RPC server reads at a time
} // namespace

CBareServer::CBareServer()
    : mFraming(EFraming::Nul)
    , mListener(NLoopback::Listen(mPort))
    , mEpoll(epoll_create1(EPOLL_CLOEXEC))
{
    Start();
}

CBareServer::CBareServer(const std::string& path)
    : mFraming(EFraming::Length)
    , mListener(NLoopback::Listen(path))
    , mEpoll(epoll_create1(EPOLL_CLOEXEC))
{
    Start();
}

void CBareServer::Start()
{
    if (!mEpoll.IsOpen())
        throw CException(__func__, kSource, __LINE__, true, "Unable to make an epoll");
    if (fcntl(mListener.Get(), F_SETFL, O_NONBLOCK) != 0) // accepting ends when nobody is left to accept
        throw CException(__func__, kSource, __LINE__, true, "Unable to set O_NONBLOCK");
    Watch(mListener.Get());
}

void CBareServer::Run(const MessageFunction& onMessage)
{
    std::vector<epoll_event> events(kEventsAtOnce);
    for (;;)
    {
        const int count = epoll_wait(mEpoll.Get(), events.data(), kEventsAtOnce, -1);
        if (count < 0 && errno != EINTR)
            throw CException(__func__, kSource, __LINE__, true, "Unable to wait");
        for (int i = 0; i < count; ++i)
        {
            const int socket = events[static_cast<std::size_t>(i)].data.fd;
            if (socket == mListener.Get())
                AcceptAll();
            else
                Serve(socket, onMessage);
        }
    }
}

void CBareServer::Watch(int socket)
{
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = socket;
    if (epoll_ctl(mEpoll.Get(), EPOLL_CTL_ADD, socket, &event) != 0)
        throw CException(__func__, kSource, __LINE__, true, "Unable to watch a socket");
}

void CBareServer::AcceptAll()
{
    for (;;)
    {
        CDescriptor client(accept4(mListener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!client.IsOpen() && errno == EINTR)
            continue;
        if (!client.IsOpen() && (errno == EAGAIN || errno == EWOULDBLOCK || errno == ECONNABORTED))
            return;
        if (!client.IsOpen())
            throw CException(__func__, kSource, __LINE__, true, "Unable to accept");
        if (mPort != 0)
            NLoopback::SendAtOnce(client.Get());
        Watch(client.Get());
        mOrder.push_back(client.Get());
        const auto index = static_cast<std::size_t>(client.Get());
        while (mClients.size() <= index)
            mClients.push_back({CDescriptor(), CFrameCounter(mFraming)});
        mClients[index] = {std::move(client), CFrameCounter(mFraming)};
    }
}

void CBareServer::Serve(int socket, const MessageFunction& onMessage)
{
    char buffer[kReadSize];
    const ssize_t count = recv(socket, buffer, sizeof buffer, 0);
    if (count < 0 && errno == EINTR)
        return; // still readable: the next pass reads it
    if (count <= 0)
        return Drop(socket);
    CFrameCounter& messages = mClients[static_cast<std::size_t>(socket)].mMessages;
    for (auto ends = messages.Count(buffer, static_cast<std::size_t>(count)); ends > 0; --ends)
        onMessage(socket);
}

void CBareServer::Drop(int socket)
{
    mOrder.erase(std::remove(mOrder.begin(), mOrder.end(), socket), mOrder.end());
    mClients[static_cast<std::size_t>(socket)].mSocket.Reset(); // closing it takes it out of the epoll
}
