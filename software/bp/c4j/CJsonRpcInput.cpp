// Where a message ends, when the next one is begun, and what happens in between.
#include "software/bp/c4j/CJsonRpcInput.h"

#include "software/bp/c4j/NJsonRpcBuffer.h"
#include "software/bp/c4j/SJsonRpcClient.h"
#include "software/include/ILog.h"
#include "software/jsonrpc/Handler.h"
#include "software/utility/CTurn.h"
#include "software/utility/NPosix.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <exception>

namespace
{
constexpr char kUnparsable[] = "$"; // answered by the dispatcher's parse error

const char* FindNul(const char* begin, const char* end)
{
    return static_cast<const char*>(std::memchr(begin, '\0', static_cast<std::size_t>(end - begin)));
}
} // namespace

void CJsonRpcInput::Receive(SJsonRpcClient& client)
{
    const ssize_t received = NPosix::RetryOnInterrupt(
        [&] { return ::recv(client.mSocket.Get(), mBuffer.data(), mBuffer.size(), 0); });
    if (received < 0 && errno == EAGAIN)
        return;
    if (received < 1)
        return mOutput.LoseInput(client);
    CTurn turn(kQuantum);
    TakeInput(client, static_cast<std::size_t>(received), turn);
}

void CJsonRpcInput::GoOn(SJsonRpcClient& client, bool hasEnded)
{
    if (client.mDoomed) // by the turn of another one
        return;
    if (client.mExchange != nullptr && client.mExchange->IsWaiting())
    {
        if (hasEnded)
            mOutput.LoseInput(client);
        return;
    }
    CTurn turn(kQuantum);
    if (!Finish(client, turn) || (!client.mPending.empty() && turn.IsOver()))
        return mOutput.EndTurn(client);
    const std::size_t size = client.mPending.copy(mBuffer.data(), mBuffer.size()); // all: it was one read
    client.mPending.clear();
    TakeInput(client, size, turn);
}

std::uint32_t CJsonRpcInput::NextWithWork(std::uint32_t id) const
{
    const auto next = mHeldBack.lower_bound(id);
    return next == mHeldBack.end() ? UINT32_MAX : *next;
}

// What stands in the receive buffer, and what is left of it.
void CJsonRpcInput::TakeInput(SJsonRpcClient& client, std::size_t size, CTurn& turn)
{
    const char* const end = mBuffer.data() + size;
    const char* const rest = RunMessages(client, mBuffer.data(), end, turn);
    if (client.mDoomed)
        return;
    if (rest != end || client.mExchange != nullptr)
    {
        client.mPending.assign(rest, end); // it was empty, because a message has just been begun
        HoldBack(client);
    }
    else if (!client.mWatchesRead)
        ReadAgain(client);
    mOutput.EndTurn(client);
}

// Runs one whole message after the other until the turn is over or one of them is not at its end, and keeps a
// part of one behind the last. A message that stands alone, which is the usual case, costs no look at the
// clock.
// @returns the first byte that was not taken, or the end
const char* CJsonRpcInput::RunMessages(SJsonRpcClient& client, const char* begin, const char* end,
                                       CTurn& turn)
{
    const char* nul = FindNul(begin, end);
    while (nul != nullptr)
    {
        const char* const next = FindNul(nul + 1, end);
        if (next != nullptr)
            turn.Start();
        TakeMessage(client, begin, nul, turn);
        begin = nul + 1;
        if (client.mDoomed || client.mExchange != nullptr || (next != nullptr && turn.IsOver()))
            return begin;
        nul = next;
    }
    KeepPending(client, begin, end);
    return end;
}

void CJsonRpcInput::TakeMessage(SJsonRpcClient& client, const char* begin, const char* nul, CTurn& turn)
{
    if (client.mPending.empty()) // the usual case: nothing is copied
        return RunMessage(client, begin, nul, turn);
    client.mPending.append(begin, nul);
    RunMessage(client, client.mPending.data(), client.mPending.data() + client.mPending.size(), turn);
    NJsonRpcBuffer::Empty(client.mPending);
}

void CJsonRpcInput::RunMessage(SJsonRpcClient& client, const char* begin, const char* end, CTurn& turn)
{
    if (begin == end || (*begin >= '0' && *begin <= '9'))
    {
        begin = kUnparsable;
        end = begin + 1;
    }
    Guard(client, [&](Json::Value& response)
          { client.mExchange = mHandler.Begin(begin, end, response, static_cast<int>(client.mId), turn); });
}

// @returns whether the message that was begun is at its end
bool CJsonRpcInput::Finish(SJsonRpcClient& client, CTurn& turn)
{
    if (client.mExchange == nullptr)
        return true;
    Guard(client,
          [&](Json::Value& response)
          {
              if (mHandler.Resume(*client.mExchange, response, turn))
                  client.mExchange.reset();
          });
    if (client.mExchange != nullptr && !client.mDoomed)
        HoldBack(client);
    return client.mExchange == nullptr && !client.mDoomed;
}

template <typename TRun>
void CJsonRpcInput::Guard(SJsonRpcClient& client, TRun run)
{
    Json::Value response;
    try
    {
        run(response);
    }
    catch (const std::exception&)
    {
        mLog.Log("Json Rpc Tcp Server process failed, contents of the message are unexpected. "
                 "Processing $ instead to exit gracefully");
        client.mExchange.reset();
        mHandler.Process(kUnparsable, response, static_cast<int>(client.mId));
    }
    if (!response.isNull() && !client.mDoomed)
        mOutput.AppendReply(client, response);
}

void CJsonRpcInput::KeepPending(SJsonRpcClient& client, const char* begin, const char* end)
{
    client.mPending.append(begin, end);
    if (client.mPending.size() > kMaxPending)
        mOutput.RefuseInput(client);
}

void CJsonRpcInput::HoldBack(SJsonRpcClient& client)
{
    const std::uint32_t id = client.mId;
    if (client.mExchange != nullptr && client.mExchange->IsWaiting())
    {
        client.mExchange->SetObserver([this, id] { mHeldBack.insert(id); });
        mHeldBack.erase(id);
    }
    else
        mHeldBack.insert(id);
    mOutput.WatchInput(client, false);
}

void CJsonRpcInput::ReadAgain(SJsonRpcClient& client)
{
    mHeldBack.erase(client.mId);
    mOutput.WatchInput(client, true);
}
