// The network end of the JSON-RPC interface: connections, turns, sending.
#pragma once

#include "software/bp/c4j/CJsonRpcInput.h"
#include "software/bp/c4j/CJsonRpcListener.h"
#include "software/bp/c4j/CJsonRpcOutput.h"
#include "software/bp/c4j/SJsonRpcClient.h"
#include "software/include/EAccessLevel.h"
#include "software/jsonrpc/Server.h"
#include "software/utility/CDescriptor.h"
#include "software/utility/CSelectWrapper.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

class CException;
class ILog;

/// Serves JSON-RPC over TCP: a message is one JSON text followed by one NUL. Everything happens on the one
/// thread that calls `WaitMessage`; no socket ever blocks it.
///
/// Replies are joined and leave at the end of the read that asked for them, so that many requests in one
/// segment cost one send. What a socket does not take waits, in order; above `kMaxOutput` bytes the client is
/// purged, because a cut message would break its framing for good. The kernel drops a peer that acknowledges
/// nothing for `kPeerTimeoutMs`.
///
/// Each client has one turn in a pass (see `CJsonRpcInput`), so that one with many costly requests delays the
/// others by that much and not by all of them. A client whose request is answered later (`Defer`) waits, and
/// nothing behind that request is run before; one that ends its connection meanwhile is purged.
///
/// A method or a notification may close any client, the one that is being served included.
class CJsonRpcTcpServer : public Json::Rpc::Server, private CJsonRpcInput::IOutput
{
public:
    using ClientList = std::list<std::unique_ptr<SJsonRpcClient>>; ///< in order of arrival

    struct SLimits
    {
        std::size_t mMaxClients = SIZE_MAX; ///< connections above it are closed at once
        /// Received and unsent bytes of all clients, and what their unfinished messages weigh; above it the
        /// greediest is purged.
        std::size_t mMaxPendingBytes = std::size_t{64} << 20;
        std::size_t mMaxClientsPerPeer = SIZE_MAX; ///< connections of one address, above 0; as `mMaxClients`
    };

    static constexpr std::size_t kMaxPending = CJsonRpcInput::kMaxPending; ///< bytes
    static constexpr std::size_t kMaxOutput = CJsonRpcOutput::kMaxWaiting; ///< bytes that wait for one client
    static constexpr unsigned kPeerTimeoutMs = CJsonRpcListener::kPeerTimeoutMs;
    static constexpr std::chrono::microseconds kQuantum = CJsonRpcInput::kQuantum;

    /// @param address  IPv4 address to bind to, see `Bind`
    /// @param port     0 takes a free one
    CJsonRpcTcpServer(const std::string& address, unsigned short port, ILog& log);
    ~CJsonRpcTcpServer() override;

    /// Puts the bound socket into listening state. @returns whether that worked (see errno)
    bool Listen() const;
    /// Accepts one connection. When descriptors have run out the listener pauses, until a client goes or a
    /// second has passed.
    /// @returns false when the server does not listen or the system has no connection for it
    bool Accept();
    /// One pass: waits for activity, accepts, receives and purges. It does not wait when input was held back.
    /// A call from within a method does nothing.
    void WaitMessage(unsigned timeoutMs);
    /// Sends one text and a NUL, after the replies that wait for the client, and never a part of it only:
    /// what the socket does not take at once follows before anything else.
    /// @throws CException "Unable to send data to client ID:%d (client not found)", or
    ///                    "Unable to send data to client %s [ID:%d]" with the system error, EAGAIN when older
    ///                    output still waits or the socket takes nothing
    void Send(unsigned id, const std::string& text);

    bool IsClientConnected(unsigned id) const noexcept;
    bool SetClientAccessLevel(unsigned id, EAccessLevel level);    ///< false for an unknown id
    EAccessLevel GetClientAccessLevel(unsigned id) const noexcept; ///< 1 for an unknown id
    /// The IPv4 address of a client, for example 10.1.2.3; empty for an unknown id.
    std::string GetClientAddress(unsigned id) const;
    std::size_t GetClientCount() const noexcept { return mClients.size(); }

    void ForceClose(unsigned id); ///< closes and removes one client at once; an unknown id does nothing
    void Close() override;        ///< closes and removes every client; the server goes on listening

    void SetLimits(const SLimits& limits) noexcept { mLimits = limits; }   ///< for what comes from now on
    std::size_t GetPendingBytes() const noexcept { return mPendingBytes; } ///< of all clients, as limited

    /// A descriptor of the host's that ends the wait of `WaitMessage` as soon as it is readable. Not owned;
    /// take it away before it is closed.
    void AddWakeDescriptor(int descriptor) { mSelect.AddWake(descriptor); }
    /// Whether the last wait found any of them readable: a host with many of them need not ask each at each
    /// pass.
    bool IsWoken() const noexcept { return mSelect.IsWoken(); }
    void RemoveWakeDescriptor(int descriptor) noexcept { mSelect.Remove(descriptor); }

    /// Is called with the id of each client that has been closed and removed, for whatever reason, so that
    /// what is kept by client id can go too.
    /// @returns the number by which to remove it, which whoever added it does before it goes
    using ClientGoneObserver = std::function<void(unsigned id)>;
    unsigned AddClientGoneObserver(ClientGoneObserver observer);
    void RemoveClientGoneObserver(unsigned number) { mGoneObservers.erase(number); }

    ILog& GetLog() const noexcept { return mLog; }

protected:
    /// A client was closed and removed; called before the observers. Not called by this class's destructor.
    virtual void OnClientGone(unsigned id);

    /// Reads once from a client and runs the messages that became whole, as far as its quantum reaches. Not
    /// from within a method.
    void Recv(ClientList::iterator position);

    using ESend = CJsonRpcOutput::ESend;
    /// `Send` without its exceptions.
    ESend TrySend(unsigned id, const std::string& text);
    /// What `Send` throws for a result other than Sent; errno is still as `TrySend` left it.
    CException MakeSendFailure(unsigned id, ESend result) const;

private:
    class CWalk; // keeps removed clients alive while it lives

    SJsonRpcClient* Find(unsigned id) const noexcept; // null when there is none
    void AcceptWaiting();
    void AddClient(CDescriptor socket, std::uint32_t peer);
    void ServeClient(std::uint32_t id, const CSelectWrapper::SReady& ready);
    void ServeHeldBack(std::uint32_t firstId, std::uint32_t endId);
    void AppendReply(SJsonRpcClient& client, const Json::Value& response) override;
    void WatchInput(SJsonRpcClient& client, bool watch) override;
    void EndTurn(SJsonRpcClient& client) override;
    void LoseInput(SJsonRpcClient& client) override;
    void RefuseInput(SJsonRpcClient& client) override;
    void Recount(SJsonRpcClient& client);
    void Charge(SJsonRpcClient& client);
    bool PurgeGreediest();
    void Doom(SJsonRpcClient& client);
    void Purge();
    void Remove(ClientList::iterator position);
    void TellGone(unsigned id) noexcept;
    void LogClient(const char* what, const SJsonRpcClient& client) const;

    ILog& mLog;
    CJsonRpcInput mInput; // before the clients: what of theirs is answered later may tell it of the answer
    ClientList mClients;
    std::unordered_map<std::uint32_t, ClientList::iterator> mClientsById;
    std::vector<std::uint32_t> mPurge; // ids
    ClientList mRemoved;               // still held by a walk
    unsigned mWalks = 0;

    CSelectWrapper mSelect;
    CJsonRpcListener mListener;
    CJsonRpcOutput mOutput;

    SLimits mLimits;
    std::size_t mPendingBytes = 0;
    std::map<unsigned, ClientGoneObserver> mGoneObservers;
    unsigned mNextObserver = 1;
};
