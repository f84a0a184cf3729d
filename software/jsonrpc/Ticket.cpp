// Whoever waits owns the deferral; tickets only look whether it is still there.
#include "software/jsonrpc/Ticket.h"

#include <utility>

namespace Json::Rpc
{
bool Ticket::IsAwaited() const noexcept
{
    const auto deferral = mDeferral.lock();
    return deferral != nullptr && !deferral->mIsAnswered;
}

void Ticket::Answer(Json::Value reply) const
{
    const auto deferral = mDeferral.lock();
    if (deferral == nullptr || deferral->mIsAnswered)
        return;
    deferral->mIsAnswered = true;
    deferral->mReply = std::move(reply);
    if (deferral->mObserver)
        deferral->mObserver();
}
} // namespace Json::Rpc
