// The ASCII protocol of the serial ports: messages in parentheses.
#pragma once

#include "software/bp/serial/CSerialOutput.h"
#include "software/bp/serial/CSerialParser.h"
#include "software/bp/serial/CSerialReceiver.h"
#include "software/bp/serial/CSerialSession.h"
#include "software/bp/serial/ENetworkRouting.h"
#include "software/bp/serial/ERemoteAccess.h"
#include "software/bp/serial/ESerialCode.h"
#include "software/include/EError.h"
#include "software/utility/CIpcMessage.h"

#include <array>
#include <cstddef>
#include <memory>
#include <string>

class CCommPort;
class CEventLink;
class CSerialHandler;
class ILog;
struct SLogInResult;

/// Makes messages of the bytes of one port, hands commands and requests to the control process over its link,
/// passes on what is for other units, and writes answers, errors and notifications back. A message that
/// breaks the syntax is dropped and answered by an error; the next "(" starts afresh.
///
/// While a log-in is checked the line waits: nothing more of it is taken.
class CVarnholtSerialParser final : public CSerialParser
{
public:
    /// None of these is owned and all must outlive the parser. The parser takes the notifications of the
    /// link, which should answer on the calling thread: whoever waits for a link waits with the whole loop.
    CVarnholtSerialParser(CEventLink* link, CSerialHandler* handler, CCommPort* port, ILog& log);
    ~CVarnholtSerialParser() override;

    const char* GetProtocol() const override { return "Varnholt"; }
    ERxResult ProcessData() override;
    void RelayMessage(const unsigned char* bytes, int length) override;
    ERxResult ProcessErrors(const std::string& text, ELogLevel level, EFyiCode code) override;
    bool IsSelectable() const override { return !IsClosed() && !mLogInRunning; }
    bool IsClosed() const override { return GetResult() == ERxResult::Closed; }
    bool HasInput() const override { return mRxRead < mRxFilled; }
    void FlushOutput() override { mOutput.Flush(); }
    void EndIdleLogIn() override { mSession.EndIfIdle(); }
    void BroadcastKey(int key) override;

    /// Formats a message, and writes it to this port when the set of ports has `NSerialRouting::kOwnPort`.
    /// @returns the length in bytes
    int Send(unsigned char portMask, const CIpcMessage* message);
    /// Announces an error, at the level that its form follows: a system error, a system warning, information,
    /// or else an error by itself.
    /// @param cause  the message it answers, or null
    void SendError(ELogLevel level, EError code, const std::string& text, const CIpcMessage* cause);
    void SendErrorBroadcast(ELogLevel level, EError code, const std::string& text);
    /// Answers the message that is being handled. @param text  empty: the default text of the code
    void SendSerialError(EError code, const std::string& text);
    void SendAck();
    void SendNak();

    /// Takes a notification of the link: the line gets its value, if it has one.
    void HandleNotification(const CIpcMessage& notification);

    /// The access group of a caller that has not logged in.
    void SetDefaultAccessGroup(int group) { mSession.SetDefaultAccessGroup(group); }

    // Of all parsers.

    /// @param address  of this unit, 0 to 1023; any other number stands for none
    static void UpdateAddress(int address) noexcept;
    static void UpdateRouting(ENetworkRouting routing) noexcept { mRouting = routing; }
    static void UpdateRemoteAccess(ERemoteAccess access) noexcept { mRemoteAccess = access; }

private:
    static constexpr std::size_t kReceiveBuffer = 2148;

    ERxResult UpdateRxd();
    bool FillBuffer();
    void SyntaxError(const SSyntaxError& error);
    CIpcMessage& GetMessage() noexcept { return mReceiver.GetMessage(); } // the one that is being handled
    ERxResult GetResult() const noexcept { return mOutput.HasFailed() ? ERxResult::Closed : mRxResult; }

    void RxdMessageComplete();
    void RxdPreProcessMsg() override;
    void RxdProcessMsg() override;
    bool HandleMessage();
    bool IsRefused(bool isCommand);
    bool ExtCommand(CIpcMessage* command);
    bool ExtRequest(CIpcMessage* request);
    bool ExtReply(CIpcMessage* reply);
    bool HandleNotificationRequests(const CIpcMessage& message);
    bool HandleUserLogin(CIpcMessage* message);
    void FinishLogIn(const std::string& user, const SLogInResult& result);
    void Acknowledge(bool success);

    void SendReply(CIpcMessage& reply);

    static inline unsigned short mAddress = CIpcMessage::kNoAddress;
    static inline ENetworkRouting mRouting = eRouting2And4;
    static inline ERemoteAccess mRemoteAccess = eRemoteAccessFull;

    CEventLink* const mLink;
    CSerialHandler* const mHandler;
    CCommPort* const mPort;
    ILog& mLog;

    ERxResult mRxResult = ERxResult::Busy;
    std::array<char, kReceiveBuffer> mRxBuffer{};
    std::size_t mRxRead = 0;
    std::size_t mRxFilled = 0;
    CSerialReceiver mReceiver;
    ESerialCode mCode = ESerialCode::Control; // of the message that is being handled

    CSerialOutput mOutput;
    CSerialSession mSession;
    bool mAckWanted = false;
    bool mLogInRunning = false;
    const std::shared_ptr<bool> mAlive; // a log-in may end when the parser has gone
};
