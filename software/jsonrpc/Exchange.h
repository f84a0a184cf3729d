// A message that was begun and could not be run to its end.
#pragma once

#include "software/jsonrpc/Ticket.h"

#include <json/value.h>

#include <cstddef>
#include <functional>
#include <memory>

namespace Json::Rpc
{
/// What `Handler::Begin` leaves behind when a request is answered later, or a turn ended inside a batch: the
/// rest of the batch and the replies so far. Whoever owns it gives it to `Handler::Resume` as soon as it is
/// not waiting any more; with it goes whatever was still to be answered.
class Exchange
{
public:
    /// Whether the reply of a method is awaited, so that there is nothing to resume yet.
    bool IsWaiting() const noexcept { return mDeferral != nullptr && !mDeferral->mIsAnswered; }
    /// Is told, once, when an exchange that waits no longer does.
    void SetObserver(std::function<void()> observer);

    /// Bytes of memory that it holds, about: a text of brackets and commas takes thirty times its length once
    /// it is parsed.
    std::size_t GetWeight() const noexcept { return mWeight + mReplySize; }

private:
    friend class Handler;

    void Take(Json::Value reply); // of one request of the batch

    std::shared_ptr<SDeferral> mDeferral; // of the request that ran last
    bool mIsAnswered = false;             // that one has an "id"
    Json::Value mBatch;                   // null: the message was a single request
    Json::ArrayIndex mNext = 0;           // of the batch, to be run
    Json::Value mReplies;                 // of the batch, so far
    std::size_t mReplySize = 0;           // bytes of their texts
    std::size_t mWeight = 0;              // of the batch
    int mClientId = -1;
};
} // namespace Json::Rpc
