// Each client that is ready is served by one read.
#include "software/bp/serial/CIpcClients.h"

#include "software/include/ILog.h"

#include <exception>
#include <utility>

namespace
{
constexpr std::uint64_t kNoTag = CSelectWrapper::kWakeTag; // no client has it
constexpr std::uint64_t kListenerTag = 0;
constexpr std::uint64_t kFirstConnectionTag = 1;
constexpr unsigned kMaxLoneTurns = 8;                      // of one message each, while others may wait
constexpr int kMaxAccepts = 64;                            // a pass
constexpr std::size_t kFlushSize = std::size_t{16} * 1024; // bytes of replies that are joined before sending
} // namespace

CIpcClients::CIpcClients(CSelectWrapper& select, const std::string& socketName, Answer answer, ILog& log)
    : mSelect(select)
    , mAnswer(std::move(answer))
    , mLog(log)
    , mListener(socketName, log)
    , mNextTag(kFirstConnectionTag)
    , mLoneTag(kNoTag)
{
    mSelect.Add(mListener.Get(), kListenerTag);
}

CIpcClients::~CIpcClients()
{
    for (const auto& client : mConnections)
        mSelect.Remove(client.second.Get());
    mSelect.Remove(mListener.Get());
}

void CIpcClients::Resume()
{
    if (mListener.Resume())
        mSelect.Watch(mListener.Get(), kListenerTag, true, false);
}

// Who asks one thing after another is read from before the system is asked who is ready: that saves a call on
// the way to the reply. The others are asked after a few turns at the latest.
// @returns whether there was something to answer
bool CIpcClients::ServeLone()
{
    mAnswered = 0;
    if (mLoneTag == kNoTag || ++mLoneTurns > kMaxLoneTurns)
    {
        mLoneTag = kNoTag;
        mLoneTurns = 0;
        return false;
    }
    OnReady(std::exchange(mLoneTag, kNoTag), true);
    return mAnswered != 0;
}

void CIpcClients::OnReady(std::uint64_t tag, bool readable)
{
    try
    {
        if (tag == kListenerTag)
            Accept();
        else
            Serve(tag, readable);
    }
    catch (const std::exception& e)
    {
        mLog.LogError("IPC: %s", e.what());
        Drop(tag); // does nothing unless it was a client's
    }
}

void CIpcClients::Accept()
{
    std::string peer;
    for (int i = 0; i < kMaxAccepts; ++i)
    {
        CDescriptor client = mListener.Accept(peer);
        if (!client.IsOpen())
            break;
        mSelect.Add(client.Get(), mNextTag);
        mConnections.try_emplace(mNextTag++, std::move(client), std::move(peer));
    }
    if (mListener.IsPaused())
        mSelect.Watch(mListener.Get(), kListenerTag, false, false);
}

void CIpcClients::Serve(std::uint64_t tag, bool readable)
{
    const auto found = mConnections.find(tag);
    if (found == mConnections.end())
        return;
    CIpcConnection& connection = found->second;
    if (readable && !ReadMessages(tag, connection))
        return Drop(tag);
    if (connection.GetPending() != 0 && !connection.Flush())
        return Drop(tag);
    if (connection.GetPending() > CIpcConnection::kMaxPending)
    {
        mLog.LogWarning("IPC client %s: %zu bytes of replies not read; disconnected",
                        connection.GetName().c_str(), connection.GetPending());
        return Drop(tag);
    }
    WatchOutput(tag, connection);
}

// @returns false when the connection is to be closed
bool CIpcClients::ReadMessages(std::uint64_t tag, CIpcConnection& connection)
{
    switch (connection.Read())
    {
    case CIpcConnection::ERead::Nothing: return true;
    case CIpcConnection::ERead::Data: return AnswerMessages(tag, connection);
    case CIpcConnection::ERead::Closed: break;
    }
    if (connection.GetUnread() != 0)
        mLog.LogWarning("IPC client %s: gone in the middle of a message; %zu bytes dropped",
                        connection.GetName().c_str(), connection.GetUnread());
    return false;
}

bool CIpcClients::AnswerMessages(std::uint64_t tag, CIpcConnection& connection)
{
    std::string error;
    while (const unsigned char* const bytes = connection.NextMessage(error))
    {
        mLoneTag = ++mAnswered == 1 ? tag : kNoTag;
        mMessage.DeserializeMessage(bytes, connection.GetName().c_str());
        mAnswer(mMessage, connection.GetOutput());
        if (connection.GetPending() < kFlushSize)
            continue;
        if (!connection.Flush())
            return false;
        if (connection.GetPending() > CIpcConnection::kMaxPending)
            return true; // found out by the caller
    }
    if (error.empty())
        return true;
    mLog.LogWarning("IPC client %s: %s; disconnected", connection.GetName().c_str(), error.c_str());
    connection.Flush(); // what came before the damage has its replies
    return false;
}

void CIpcClients::WatchOutput(std::uint64_t tag, CIpcConnection& connection)
{
    const bool waits = connection.GetPending() != 0;
    if (waits == connection.IsWatchedForWriting())
        return;
    mSelect.Watch(connection.Get(), tag, true, waits);
    connection.SetWatchedForWriting(waits);
}

void CIpcClients::Drop(std::uint64_t tag) noexcept
{
    const auto found = mConnections.find(tag);
    if (found == mConnections.end())
        return;
    mSelect.Remove(found->second.Get());
    mConnections.erase(found);
}
