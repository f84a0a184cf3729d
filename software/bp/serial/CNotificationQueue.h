// What a recipient of notifications has still to be told.
#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

class CIpcMessage;

/// Serialised notifications in the order of their changes. A newer one of the same control and kind of change
/// takes the older one's place at the end, so that the queue can not outgrow the number of controls.
class CNotificationQueue
{
public:
    using Bytes = std::shared_ptr<const std::vector<unsigned char>>;

    /// Same for two notifications exactly when the newer makes the older pointless.
    static std::string MakeKey(const CIpcMessage& notification);

    void Put(const std::string& key, Bytes bytes);
    bool IsEmpty() const noexcept { return mEntries.empty(); }
    std::size_t GetSize() const noexcept { return mEntries.size(); }
    const Bytes& GetFront() const { return mEntries.front().mBytes; } ///< not of an empty queue
    void PopFront();

private:
    struct SEntry
    {
        std::string mKey;
        Bytes mBytes;
    };
    std::list<SEntry> mEntries;
    std::unordered_map<std::string_view, std::list<SEntry>::iterator> mByKey; // views into mEntries
};
