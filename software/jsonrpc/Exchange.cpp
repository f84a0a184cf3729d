// An exchange is run by the handler alone; here is what its owner may do with it.
#include "software/jsonrpc/Exchange.h"

#include "software/jsonrpc/NJsonText.h"

#include <string>
#include <utility>

namespace Json::Rpc
{
void Exchange::SetObserver(std::function<void()> observer)
{
    if (IsWaiting())
        mDeferral->mObserver = std::move(observer);
}

void Exchange::Take(Json::Value reply)
{
    std::string text;
    NJsonText::Append(reply, text);
    mReplySize += text.size();
    mReplies.append(std::move(reply)); // null until then: a batch of notifications has no reply
}
} // namespace Json::Rpc
