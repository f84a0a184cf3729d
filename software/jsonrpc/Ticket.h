// The right to answer a request later.
#pragma once

#include <json/value.h>

#include <functional>
#include <memory>

namespace Json::Rpc
{
/// What a request that is answered later waits for. It lives as long as somebody waits.
struct SDeferral
{
    bool mIsAnswered = false;
    Json::Value mReply;
    std::function<void()> mObserver; ///< is told of the answer; may be empty
};

/// A method takes one from the `Handler` that runs it, gives it to whoever will know the answer, and returns
/// false. A copy stands for the same request. It may outlive everything: nobody waits for what it answers
/// once the client, or the server, has gone. Used from the handler's thread.
class Ticket
{
public:
    Ticket() noexcept = default; ///< of no request

    /// Whether the request still waits, so that an answer is worth its trouble. False from the beginning when
    /// the handler is run by somebody who cannot wait: answer at once, and return true.
    bool IsAwaited() const noexcept;

    /// Gives the reply, also before the method has returned. Nothing happens when nobody waits any more.
    /// @param reply  the whole reply, as a method would leave it; what a request without "id" is answered is
    ///               dropped
    void Answer(Json::Value reply) const;

private:
    friend class Handler;
    explicit Ticket(const std::shared_ptr<SDeferral>& deferral) noexcept
        : mDeferral(deferral)
    {
    }

    std::weak_ptr<SDeferral> mDeferral;
};
} // namespace Json::Rpc
