// A packet is a message: nothing has to be framed.
#include "software/bp/serial/CIpcNotifyServer.h"

#include "software/bp/serial/NIpcSocket.h"
#include "software/utility/CException.h"
#include "software/utility/CIpcMessage.h"
#include "software/utility/NPosix.h"

#include <array>
#include <cerrno>
#include <vector>

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
constexpr char kSource[] = "software/bp/serial/CIpcNotifyServer";

constexpr int kMaxPasses = 4;     // of one Collect: what a new connection brings is read by the next pass
constexpr int kMaxPackets = 1024; // of one connection in a pass, so that a flood lets the caller work

// What a process with this process id left behind must not be in the way; what somebody uses must not be
// taken.
void RemoveStale(const std::string& name)
{
    struct stat status
    {
    };
    if (::lstat(name.c_str(), &status) != 0 || !S_ISSOCK(status.st_mode))
        return; // to listen there will fail where something else is
    if (!NIpcSocket::IsAbandoned(name))
        throw CException(__func__, kSource, __LINE__, false, "Socket %s is used by another process already",
                         name.c_str());
    ::unlink(name.c_str());
}
} // namespace

CIpcNotifyServer::CIpcNotifyServer(const std::string& name)
    : mName(name)
{
    NIpcSocket::MakeAddress(mName); // refuses a name that is too long
}

CIpcNotifyServer::~CIpcNotifyServer()
{
    if (IsMine())
        ::unlink(mName.c_str());
}

// Whether the control process would find this listener under its name.
bool CIpcNotifyServer::IsMine() const noexcept
{
    struct stat status
    {
    };
    return mListener.IsOpen() && ::lstat(mName.c_str(), &status) == 0 && status.st_dev == mFile.mDevice &&
           status.st_ino == mFile.mNode;
}

bool CIpcNotifyServer::Open()
{
    if (IsMine())
        return false;
    const bool wasOpen = mSelect != nullptr;
    if (mListener.IsOpen())
    {
        while (Accept()) // whoever waits has connected, and would be lost with the listener
        {
        }
        mSelect->Remove(mListener.Get());
        mListener.Reset();
    }
    RemoveStale(mName);
    CDescriptor listener = NIpcSocket::Listen(mName, SOCK_SEQPACKET);
    struct stat status
    {
    };
    if (::lstat(mName.c_str(), &status) != 0)
        throw CException(__func__, kSource, __LINE__, true, "Unable to look at %s", mName.c_str());
    if (!wasOpen)
        mSelect = std::make_unique<CSelectWrapper>();
    mSelect->Add(listener.Get(), kListenerTag);
    mListener = std::move(listener);
    mFile = {status.st_dev, status.st_ino};
    return wasOpen;
}

int CIpcNotifyServer::GetDescriptor() const noexcept
{
    return mSelect == nullptr ? -1 : mSelect->GetDescriptor();
}

void CIpcNotifyServer::Collect(std::list<CIpcMessage>& notifications)
{
    for (int pass = 0; mSelect != nullptr && pass < kMaxPasses && mSelect->Wait(0); ++pass)
    {
        const std::vector<CSelectWrapper::SReady> allReady = mSelect->GetReady(); // accepting may move it
        for (const CSelectWrapper::SReady& ready : allReady)
        {
            const auto connection = mConnections.find(ready.mTag);
            if (ready.mTag == kListenerTag)
                Accept();
            else if (!Receive(connection->second.Get(), notifications))
                Close(connection);
        }
    }
}

// @returns false when nobody waits
bool CIpcNotifyServer::Accept()
{
    CDescriptor connection(NPosix::RetryOnInterrupt(
        [&] { return ::accept4(mListener.Get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC); }));
    if (!connection.IsOpen())
        return false;
    mSelect->Add(connection.Get(), mNextTag);
    mConnections.emplace(mNextTag++, std::move(connection));
    mLost = false;
    return true;
}

void CIpcNotifyServer::Close(ConnectionMap::iterator connection)
{
    mSelect->Remove(connection->second.Get());
    mConnections.erase(connection);
    mLost = mConnections.empty();
}

// @returns false when the connection has ended
bool CIpcNotifyServer::Receive(int descriptor, std::list<CIpcMessage>& notifications)
{
    std::array<unsigned char, CIpcMessage::kMaxSize + 1> packet; // one byte more shows what is too long
    for (int i = 0; i < kMaxPackets; ++i)
    {
        const ssize_t count = NPosix::RetryOnInterrupt(
            [&] { return ::recv(descriptor, packet.data(), packet.size(), MSG_DONTWAIT); });
        if (count < 0)
            return errno == EAGAIN;
        if (count == 0)
            return false;
        if (CIpcMessage::IsWellFormed(packet.data(), static_cast<std::size_t>(count)))
            notifications.emplace_back().DeserializeMessage(packet.data(), nullptr);
    }
    return true;
}
