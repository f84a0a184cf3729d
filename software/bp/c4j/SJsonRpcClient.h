// One accepted connection of the JSON-RPC server.
#pragma once

#include "software/include/EAccessLevel.h"
#include "software/jsonrpc/Exchange.h"
#include "software/utility/CDescriptor.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

/// What the server knows of a connected client. Closes the socket when it goes.
struct SJsonRpcClient
{
    /// Takes the socket over, gives it the id in `mGlobalId` and asks the system for the peer's address.
    explicit SJsonRpcClient(int socket);

    std::uint64_t GetTag() const noexcept { return std::uint64_t{mId} + 1; }        ///< in the wait; never 0
    std::size_t GetUnsent() const noexcept { return mOutput.size() - mOutputSent; } ///< bytes

    /// Bytes since the last NUL, not yet a whole message. While the input is held back, all that was read
    /// behind the message that ran last, less than one read.
    std::string mPending;
    /// The message that was begun and is not at its end; nothing behind it is run, and nothing read, until it
    /// is. Null otherwise.
    std::unique_ptr<Json::Rpc::Exchange> mExchange;
    CDescriptor mSocket;                     ///< closed as soon as the client is removed from the list
    const std::uint32_t mId;                 ///< 1 to `kMaxId`
    const std::string mName;                 ///< address-port, for example 10.1.2.3-51234
    EAccessLevel mAccessLevel = eAccessUser; ///< 1 until a log-in raises it

    std::string mOutput;         ///< replies and rests of notifications; sent from `mOutputSent` on
    std::size_t mOutputSent = 0; ///< bytes of `mOutput` that the socket took
    std::size_t mCharged = 0;    ///< bytes counted against the budget of all clients
    bool mWatchesRead = true;    ///< not while the input is held back
    bool mWatchesWrite = false;  ///< the socket took less than it was given
    bool mDoomed = false;        ///< on the purge list: nothing is read, run or sent any more
    int mSendError = 0;          ///< errno of the failed send after which nothing is sent any more

    std::uint32_t mPeer = 0; ///< the IPv4 address by which the server counts it, network order

    static constexpr std::uint32_t kMaxId = INT32_MAX; ///< what "JSON_TCP.%d" can name
    static std::uint32_t NextId(std::uint32_t id) noexcept { return id < kMaxId ? id + 1 : 1; }
    static std::uint32_t mGlobalId; ///< the id of the next client; begins again after the last one
};
