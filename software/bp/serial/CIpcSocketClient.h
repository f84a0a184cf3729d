// The way to the control process from another process.
#pragma once

#include "software/bp/serial/CIpcNotifyServer.h"
#include "software/bp/serial/IIpcClient.h"
#include "software/utility/CDescriptor.h"

#include <chrono>
#include <string>
#include <vector>

/// One stream connection to the control process and a socket to be notified on. The connection is made with
/// the first message, and made again when the control process closed it meanwhile.
class CIpcSocketClient : public IIpcClient
{
public:
    static constexpr unsigned kDefaultTimeoutMs = 2000; ///< of a message sent without a time-out

    /// @param uniqueName    tells the clients of one process apart
    /// @param runDirectory  where the sockets are
    /// @throws CException   for names that are empty or too long, see `NIpcSocket`
    CIpcSocketClient(const char* uniqueName, const std::string& runDirectory);
    CIpcSocketClient(const CIpcSocketClient&) = delete;
    CIpcSocketClient& operator=(const CIpcSocketClient&) = delete;
    ~CIpcSocketClient() override; ///< removes its sockets

    bool Send(CIpcMessage& message, unsigned timeoutMs) override;
    bool Receive(CIpcMessage& reply, unsigned timeoutMs) override;
    void Disconnect() noexcept override;
    bool IsLocal() const noexcept override { return false; }
    void OpenNotify() override { mNotifyServer.Open(); }
    const std::string& GetNotifyAddress() const noexcept override { return mNotifyServer.GetName(); }
    int GetNotifyDescriptor() const noexcept override { return mNotifyServer.GetDescriptor(); }
    void ProcessNotify(std::list<CIpcMessage>& notifications) override;
    void SetNotifyHandler(NotifyHandler handler) override { mNotifyHandler = std::move(handler); }

private:
    using TimePoint = std::chrono::steady_clock::time_point;

    bool Connect(TimePoint deadline);
    bool SendBytes(const unsigned char* bytes, std::size_t size, TimePoint deadline);
    bool TakeReply(CIpcMessage& reply);

    const std::string mServerName;
    const std::string mName;
    CDescriptor mSocket;
    bool mBound = false;
    std::vector<unsigned char> mInput;
    CIpcNotifyServer mNotifyServer;
    NotifyHandler mNotifyHandler;
};
