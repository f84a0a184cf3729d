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

    /// Appends what has arrived. What is no message is left out.
    void Collect(std::list<CIpcMessage>& notifications);

private:
    void Accept();
    bool Receive(int descriptor, std::list<CIpcMessage>& notifications);

    const std::string mName;
    CDescriptor mListener;
    std::unique_ptr<CSelectWrapper> mSelect;           // made by Open
    std::map<std::uint64_t, CDescriptor> mConnections; // by tag; one, and a second after a restart
    std::uint64_t mNextTag = 1;
};
