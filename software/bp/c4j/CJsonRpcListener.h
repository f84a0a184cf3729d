// The door of the JSON-RPC server: who comes in, and what happens when there is no room.
#pragma once

#include "software/utility/CDescriptor.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>

class CSelectWrapper;
class ILog;

/// Accepts connections and counts them by their peers. When descriptors have run out, whoever waits is closed
/// instead of left hanging, and the listening socket pauses: it would stay ready, and each wait would end at
/// once, for nothing.
class CJsonRpcListener
{
public:
    static constexpr std::uint64_t kTag = 0; ///< of the listening socket in the wait, before every client's

    static constexpr unsigned kPeerTimeoutMs = 60000;

    struct SConnection
    {
        CDescriptor mSocket;     ///< not blocking; closed when there was none
        std::uint32_t mPeer = 0; ///< IPv4 address, network order
    };

    /// Neither is owned, both must outlive this.
    CJsonRpcListener(CSelectWrapper& select, ILog& log);

    /// Puts the socket into the wait. Listening begins and ends without a word to this class, so each pass
    /// says which one it is. @param listener  -1: none
    void Watch(int listener);
    /// Accepts one connection. What runs out pauses the listener, until `Resume` or for a second.
    SConnection Accept(int listener);
    /// The wait cut to the end of the pause, which ends here when its time has come.
    unsigned LimitToPause(unsigned timeoutMs);
    void Resume(); ///< there is room again

    /// Whether a further client of that peer is let in. Says so once when it is not, and again only after one
    /// of those that count has gone.
    bool Admits(std::uint32_t peer, std::size_t clients, std::size_t maxClients, std::size_t maxOfPeer);
    void Enter(std::uint32_t peer) { ++mPeers[peer].mClients; }
    void Leave(std::uint32_t peer);

    static void SetOptions(int socket); ///< of a client, so that one that vanished is noticed
    static std::string AddressText(std::uint32_t address); ///< for example 10.1.2.3

private:
    struct SPeer
    {
        std::size_t mClients = 0;
        bool mIsFull = false; // its limit was reached; logged
    };

    void Pause(int listener, int error);
    void CloseWaiting(int listener);

    CSelectWrapper& mSelect;
    ILog& mLog;
    int mWatched = -1;
    bool mIsPaused = false;
    std::chrono::steady_clock::time_point mPausedUntil;
    bool mHasRunOut = false; // of descriptors; logged
    bool mIsFull = false;    // the client limit was reached; logged
    CDescriptor mReserve;    // given up for a moment to close a connection that no descriptor is left for
    std::unordered_map<std::uint32_t, SPeer> mPeers; // by IPv4 address; who has a client
};
