// A list in the order of the changes, and an index into it.
#include "software/bp/serial/CNotificationQueue.h"

#include "software/bp/serial/NIpcMsgUtil.h"

#include <iterator>
#include <utility>

namespace
{
// One letter an argument that tells of a kind of change; together they say what a notification is about.
struct SKind
{
    unsigned short mKey;
    char mLetter;
};
constexpr SKind kKinds[] = {{0, 'v'}, {eIpcArgEnabled, 'e'}, {eIpcArgMinimum, 'r'}, {eIpcArgListSize, 'l'}};
} // namespace

std::string CNotificationQueue::MakeKey(const CIpcMessage& notification)
{
    std::string key = NIpcMsgUtil::GetFullCode(notification) + ' ';
    EParmFlags flags = eParmText;
    for (const SKind& kind : kKinds)
    {
        if (notification.GetArgFlags(kind.mKey, flags))
            key += kind.mLetter;
    }
    return key;
}

void CNotificationQueue::Put(const std::string& key, Bytes bytes)
{
    const auto older = mByKey.find(key);
    if (older != mByKey.end())
    {
        older->second->mBytes = std::move(bytes);
        mEntries.splice(mEntries.end(), mEntries, older->second);
        return;
    }
    mEntries.push_back({key, std::move(bytes)});
    mByKey.emplace(mEntries.back().mKey, std::prev(mEntries.end()));
}

void CNotificationQueue::PopFront()
{
    mByKey.erase(mEntries.front().mKey);
    mEntries.pop_front();
}
