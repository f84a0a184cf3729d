// A client's notification socket.
#pragma once

#include "software/utility/CDescriptor.h"
#include "software/utility/CSelectWrapper.h"

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>

#include <sys/types.h>

class CIpcMessage;

/// Listens for the control process, which connects at the first registration and sends one notification a
/// packet. Non-blocking. Used from one thread.
class CIpcNotifyServer
{
public:
    /// @throws CException "Socket name %s is too long: %zu bytes, the system allows %zu"
    explicit CIpcNotifyServer(const std::string& name);
    CIpcNotifyServer(const CIpcNotifyServer&) = delete;
    CIpcNotifyServer& operator=(const CIpcNotifyServer&) = delete;
    ~CIpcNotifyServer(); ///< removes the socket

    const std::string& GetName() const noexcept { return mName; }
    /// Nothing happens when it is open, unless its file has vanished or become another's: then it is made
    /// again, and what is connected stays so.
    /// @returns whether it was made again
    /// @throws CException "Unable to ... %s" with the system error; it can be tried again
    bool Open();
    /// Readable when there is something to collect; -1 before `Open`, and the same ever after.
    int GetDescriptor() const noexcept;

    bool IsLost() const noexcept { return mLost; } ///< the control process had connected and is gone

    /// Appends what has arrived, at most some thousand. What is no message is left out.
    void Collect(std::list<CIpcMessage>& notifications);

private:
    static constexpr std::uint64_t kListenerTag = 0;
    static constexpr std::uint64_t kFirstConnectionTag = 1;

    struct SFile
    {
        dev_t mDevice = 0;
        ino_t mNode = 0;
    };
    using ConnectionMap = std::map<std::uint64_t, CDescriptor>; // by tag

    bool IsMine() const noexcept;
    bool Accept();
    void Close(ConnectionMap::iterator connection);
    static bool Receive(int descriptor, std::list<CIpcMessage>& notifications);

    const std::string mName;
    CDescriptor mListener;
    SFile mFile;                             // of the listener
    std::unique_ptr<CSelectWrapper> mSelect; // made by Open
    ConnectionMap mConnections; // one, and for a moment two when the control process was started again
    std::uint64_t mNextTag = kFirstConnectionTag;
    bool mLost = false;
};
