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
    bool OpenNotify() override { return mNotifyServer.Open(); }
    const std::string& GetNotifyAddress() const noexcept override { return mNotifyServer.GetName(); }
    int GetNotifyDescriptor() const noexcept override { return mNotifyServer.GetDescriptor(); }
    void ProcessNotify(std::list<CIpcMessage>& notifications) override;
    bool IsNotifyLost() const noexcept override { return mNotifyServer.IsLost(); }
    void SetNotifyHandler(NotifyHandler handler) override { mNotifyHandler = std::move(handler); }

private:
    using TimePoint = std::chrono::steady_clock::time_point;

    enum class ESend
    {
        Sent,
        TimedOut,
        Broken, ///< the control process closed this connection: it has not seen the message
    };

    bool Connect(TimePoint deadline);
    void Bind();
    ESend SendBytes(const unsigned char* bytes, std::size_t size, TimePoint deadline);
    void Fill(std::chrono::milliseconds wait);
    bool TakeReply(CIpcMessage& reply);
    void SetReceiveTimeout(std::chrono::milliseconds wait);

    const std::string mServerName;
    const std::string mName;
    CDescriptor mSocket;
    bool mBound = false;
    std::vector<unsigned char> mInput;            // of fixed size
    std::size_t mFilled = 0;                      // bytes of mInput that have arrived
    std::size_t mTaken = 0;                       // bytes of these that were replies
    std::chrono::milliseconds mReceiveTimeout{0}; // as the socket has it; 0: for ever
    CIpcNotifyServer mNotifyServer;
    NotifyHandler mNotifyHandler;
};
