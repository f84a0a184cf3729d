// A client's notification socket.
#pragma once

#include "software/utility/CDescriptor.h"
#include "software/utility/CSelectWrapper.h"

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>

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
    void
    Open(); ///< nothing happens when it is open. @throws CException "Unable to ... %s" with the system error
    bool IsOpen() const noexcept { return mSelect != nullptr; }
    int GetDescriptor() const noexcept; ///< readable when there is something to collect; -1 before `Open`

    bool IsLost() const noexcept { return mLost; } ///< the control process had connected and is gone

    /// Appends what has arrived, at most some thousand. What is no message is left out.
    void Collect(std::list<CIpcMessage>& notifications);

private:
    static constexpr std::uint64_t kListenerTag = 0;
    static constexpr std::uint64_t kFirstConnectionTag = 1;

    using ConnectionMap = std::map<std::uint64_t, CDescriptor>; // by tag

    void Accept();
    void Close(ConnectionMap::iterator connection);
    static bool Receive(int descriptor, std::list<CIpcMessage>& notifications);

    const std::string mName;
    CDescriptor mListener;
    std::unique_ptr<CSelectWrapper> mSelect; // made by Open
    ConnectionMap mConnections; // one, and for a moment two when the control process was started again
    std::uint64_t mNextTag = kFirstConnectionTag;
    bool mLost = false;
};
