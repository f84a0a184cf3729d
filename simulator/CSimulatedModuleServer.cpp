// A client that breaks the rules costs nobody but itself: what blocks its stream is passed over.
#include "simulator/CSimulatedModuleServer.h"

#include "software/include/ILog.h"
#include "software/utility/NPosix.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <sys/socket.h>
#include <utility>

using LibMarlix::CCepMessage;
using LibMarlix::CCepParser;

namespace
{
constexpr std::size_t kCapacity = 16'384; // bytes of a request
constexpr std::size_t kReadSize = 4096;   // bytes
constexpr std::size_t kMaxReplies = 256;  // that a client may leave unread
constexpr std::uint64_t kListenerTag = 0;
constexpr std::size_t kLengthOffset = CCepMessage::kHeaderSize;
constexpr std::chrono::milliseconds kPausedWait{100};
constexpr char kNoise[] = "{\x02{noise{\x02\x34"; // with beginnings of a magic

struct SFaultRow
{
    EModuleFault mFault;
    const char* mName;
};
constexpr SFaultRow kFaults[] = {
    {EModuleFault::None, "none"},       {EModuleFault::Noise, "noise"}, {EModuleFault::Damage, "damage"},
    {EModuleFault::Stretch, "stretch"}, {EModuleFault::Cut, "cut"},     {EModuleFault::Silence, "silence"},
    {EModuleFault::Late, "late"},
};
} // namespace

CSimulatedModuleServer::SClient::SClient(CDescriptor socket)
    : mSocket(std::move(socket))
    , mParser(kCapacity)
{
}

CSimulatedModuleServer::CSimulatedModuleServer(const std::string& socketName, ILog& log)
    : mLog(log)
    , mListener(socketName, log)
{
    mSelect.Add(mListener.Get(), kListenerTag);
}

const char* CSimulatedModuleServer::GetName(EModuleFault fault) noexcept
{
    return std::find_if(std::begin(kFaults), std::end(kFaults),
                        [=](const SFaultRow& row) { return row.mFault == fault; })
        ->mName;
}

bool CSimulatedModuleServer::FindFault(std::string_view name, EModuleFault& fault) noexcept
{
    const auto* const row = std::find_if(std::begin(kFaults), std::end(kFaults),
                                         [=](const SFaultRow& r) { return name == r.mName; });
    if (row == std::end(kFaults))
        return false;
    fault = row->mFault;
    return true;
}

void CSimulatedModuleServer::ProcessEvents(std::chrono::milliseconds timeout)
{
    if (mListener.IsPaused() && mListener.Resume())
        mSelect.Watch(mListener.Get(), kListenerTag, true, false);
    mSelect.Wait(static_cast<unsigned>(GetWait(timeout).count()));
    const std::vector<CSelectWrapper::SReady> ready = mSelect.GetReady();
    for (const CSelectWrapper::SReady& r : ready)
    {
        const auto client = mClients.find(r.mTag);
        if (r.mTag == kListenerTag)
            Accept();
        else if (client != mClients.end() && !Read(client->second))
            Remove(r.mTag);
    }
    std::vector<std::uint64_t> gone;
    for (auto& [tag, client] : mClients)
    {
        if (!SendDue(client))
            gone.push_back(tag);
    }
    for (const std::uint64_t tag : gone)
        Remove(tag);
}

std::chrono::milliseconds CSimulatedModuleServer::GetWait(std::chrono::milliseconds timeout) const
{
    const Clock::time_point now = Clock::now();
    if (mListener.IsPaused())
        timeout = std::min(timeout, kPausedWait);
    for (const auto& [tag, client] : mClients)
    {
        if (client.mReplies.empty())
            continue;
        const auto due = std::chrono::ceil<std::chrono::milliseconds>(client.mReplies.front().mDue - now);
        timeout = std::clamp(due, std::chrono::milliseconds(0), timeout);
    }
    return timeout;
}

void CSimulatedModuleServer::Accept()
{
    std::string peer;
    CDescriptor socket = mListener.Accept(peer);
    if (mListener.IsPaused()) // out of descriptors: it would be readable for as long as that lasts
        mSelect.Watch(mListener.Get(), kListenerTag, false, false);
    if (!socket.IsOpen())
        return;
    mLog.LogFYI(eFyiNetwork, "Module: client %s connected", peer.c_str());
    mSelect.Add(socket.Get(), ++mLastTag);
    mClients.try_emplace(mLastTag, std::move(socket));
}

// @returns whether the client is still there
bool CSimulatedModuleServer::Read(SClient& client)
{
    std::array<unsigned char, kReadSize> bytes;
    const std::size_t wanted = std::min(bytes.size(), client.mParser.getRoom());
    const ssize_t count = NPosix::RetryOnInterrupt(
        [&] { return ::recv(client.mSocket.Get(), bytes.data(), wanted, MSG_DONTWAIT); });
    if (count <= 0)
        return count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
    client.mParser.addData(bytes.data(), static_cast<std::size_t>(count));
    for (;;)
    {
        const CCepParser::SReceived received = client.mParser.receive(CCepParser::ECrc::Right);
        if (received.mDropped > 0)
            mLog.LogWarning("Module: %zu bytes that are no message; dropped", received.mDropped);
        if (!received.mMessage)
            return client.mReplies.size() <= kMaxReplies;
        Answer(client, *received.mMessage);
    }
}

void CSimulatedModuleServer::Answer(SClient& client, const CCepMessage& request)
{
    const CCepMessage reply = mModule.Answer(request);
    std::size_t size = 0;
    const std::unique_ptr<unsigned char[]> bytes(reply.toBytes(request.getFormat(), size, true));
    std::string text(reinterpret_cast<const char*>(bytes.get()), size); // its properties are few and short
    const std::string late = std::exchange(client.mHeldBack, "");
    if (++mReplyCount % mFaults.mEvery == 0)
        text = Spoil(std::move(text), client);
    text.insert(0, late);
    client.mReplies.push_back({Clock::now() + mFaults.mDelay, std::move(text)});
}

// @returns what the client gets instead
std::string CSimulatedModuleServer::Spoil(std::string reply, SClient& client)
{
    switch (mFaults.mFault)
    {
    case EModuleFault::None: return reply;
    case EModuleFault::Noise: return kNoise + reply;
    case EModuleFault::Damage: reply.back() ^= 1; return reply;
    case EModuleFault::Cut: reply.resize(reply.size() / 2); return reply;
    case EModuleFault::Silence: return "";
    case EModuleFault::Stretch:
    {
        std::string longer = reply;
        longer[kLengthOffset] = 0x7F;
        return longer + reply;
    }
    case EModuleFault::Late: client.mHeldBack = std::move(reply); return "";
    }
    return reply;
}

// @returns whether the client is still there
bool CSimulatedModuleServer::SendDue(SClient& client)
{
    while (!client.mReplies.empty() && client.mReplies.front().mDue <= Clock::now())
    {
        std::string& bytes = client.mReplies.front().mBytes;
        const ssize_t sent = NPosix::RetryOnInterrupt(
            [&] {
                return ::send(client.mSocket.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
            });
        if (sent != static_cast<ssize_t>(bytes.size()))
            return false; // a client that asks and does not read has to come again
        client.mReplies.pop_front();
    }
    return true;
}

void CSimulatedModuleServer::Remove(std::uint64_t tag)
{
    const auto client = mClients.find(tag);
    mSelect.Remove(client->second.mSocket.Get());
    mClients.erase(client);
}
