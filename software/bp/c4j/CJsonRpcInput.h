// The input side of the JSON-RPC server: framing, dispatch and turns.
#pragma once

#include <json/value.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <set>

class CTurn;
class ILog;
struct SJsonRpcClient;

namespace Json::Rpc
{
class Handler;
} // namespace Json::Rpc

/// Cuts what clients send into messages, one JSON text followed by one NUL each, and runs them.
///
/// Each client has one turn in a pass: what it sent in one read, of which no further message, and no further
/// request of a batch, is begun after `kQuantum`. The rest is held back for the next pass. It is held back
/// too behind a request that is answered later, until that is answered. Nothing more is read from the client
/// meanwhile, so that what waits for it here stays below one read.
///
/// Whoever calls it keeps the client alive until it returns, whatever the methods do to it.
class CJsonRpcInput
{
public:
    /// What becomes of a client; the server.
    class IOutput
    {
    public:
        virtual void AppendReply(SJsonRpcClient& client, const Json::Value& response) = 0;
        /// Whether the client is to be served when it has sent something.
        virtual void WatchInput(SJsonRpcClient& client, bool watch) = 0;
        virtual void EndTurn(SJsonRpcClient& client) = 0;     ///< its replies leave, what it holds is counted
        virtual void LoseInput(SJsonRpcClient& client) = 0;   ///< it has ended the connection
        virtual void RefuseInput(SJsonRpcClient& client) = 0; ///< its message is too long

    protected:
        ~IOutput() = default;
    };

    static constexpr std::size_t kMaxPending = 500000;         ///< bytes of one message that is not whole
    static constexpr std::chrono::microseconds kQuantum{1000}; ///< of a client in one pass

    /// None of them is owned, all must outlive it.
    CJsonRpcInput(Json::Rpc::Handler& handler, IOutput& output, ILog& log) noexcept
        : mHandler(handler)
        , mOutput(output)
        , mLog(log)
    {
    }

    void Receive(SJsonRpcClient& client); ///< reads once, and runs what became whole
    /// The turn of a client whose input is held back.
    /// @param hasEnded  its connection is said to have ended: too early for one that waits for an answer
    void GoOn(SJsonRpcClient& client, bool hasEnded);
    void Forget(std::uint32_t id) { mHeldBack.erase(id); } ///< the client is removed

    /// Whether anybody's turn comes without a byte from outside.
    bool HasWork() const noexcept { return !mHeldBack.empty(); }
    /// The lowest id, from `id` on, whose turn comes so; UINT32_MAX when there is none.
    std::uint32_t NextWithWork(std::uint32_t id) const;

private:
    void TakeInput(SJsonRpcClient& client, std::size_t size, CTurn& turn);
    const char* RunMessages(SJsonRpcClient& client, const char* begin, const char* end, CTurn& turn);
    void TakeMessage(SJsonRpcClient& client, const char* begin, const char* nul, CTurn& turn);
    void RunMessage(SJsonRpcClient& client, const char* begin, const char* end, CTurn& turn);
    bool Finish(SJsonRpcClient& client, CTurn& turn);
    template <typename TRun>
    void Guard(SJsonRpcClient& client, TRun run);
    void KeepPending(SJsonRpcClient& client, const char* begin, const char* end);
    void HoldBack(SJsonRpcClient& client);
    void ReadAgain(SJsonRpcClient& client);

    Json::Rpc::Handler& mHandler;
    IOutput& mOutput;
    ILog& mLog;
    std::set<std::uint32_t> mHeldBack; // ids; theirs goes on in the next pass, waiting ones are not in it
    std::array<char, 4096> mBuffer;    // shared by all clients: what stays is copied to the client
};
