// The ASCII protocol of the serial ports: messages in parentheses.
#pragma once

#include "software/bp/serial/CSerialParser.h"
#include "software/bp/serial/ENetworkRouting.h"
#include "software/bp/serial/ERemoteAccess.h"
#include "software/bp/serial/ESerialCode.h"
#include "software/include/EError.h"
#include "software/utility/CIpcMessage.h"
#include "software/utility/CTimer.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

class CCommPort;
class CEventLink;
class CSerialHandler;
class ILog;
struct SLogInResult;

/// Makes messages of the bytes of one port, hands commands and requests to the control process over its link,
/// passes on what is for other units, and writes answers, errors and notifications back. A message that
/// breaks the syntax is dropped and answered by an error; the next "(" starts afresh.
///
/// A caller has the default access group until a log-in gives it another. While a log-in is checked the line
/// waits: nothing more of it is taken.
class CVarnholtSerialParser : public CSerialParser
{
public:
    static constexpr int kDefaultAccessGroup = 1;
    static constexpr unsigned kLogInSeconds = 3600; ///< without a message, after which a log-in ends

    /// None of these is owned and all must outlive the parser. The parser takes the notifications of the
    /// link, which should answer on the calling thread: whoever waits for a link waits with the whole loop.
    CVarnholtSerialParser(CEventLink* link, CSerialHandler* handler, CCommPort* port, ILog& log);
    ~CVarnholtSerialParser() override;

    const char* GetProtocol() const override { return "Varnholt"; }
    ERxResult ProcessData() override;
    void RelayMessage(const unsigned char* bytes, int length) override;
    ERxResult ProcessErrors(const std::string& text, ELogLevel level, EFyiCode code) override;
    bool IsSelectable() const override { return !IsClosed() && !mLogInRunning; }
    bool IsClosed() const override { return mRxResult == ERxResult::Closed; }
    bool HasInput() const override { return mRxRead < mRxFilled; }
    void FlushOutput() override;
    void EndIdleLogIn() override;
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
    void SetDefaultAccessGroup(int group);

    // Of all parsers.

    /// @param address  of this unit, 0 to 1023; any other number stands for none
    static void UpdateAddress(int address) noexcept;
    static void UpdateRouting(ENetworkRouting routing) noexcept { mRouting = routing; }
    static void UpdateRemoteAccess(ERemoteAccess access) noexcept { mRemoteAccess = access; }

private:
    static constexpr std::size_t kMaxAccumulated = 50; // characters of a number or prefix
    static constexpr std::size_t kMaxText = 1023;      // bytes of a text argument
    static constexpr std::size_t kReceiveBuffer = 2148;
    static constexpr int kNoValue = -1; // of a syntax error

    enum class ERxState
    {
        Waiting = 0, // for "("
        Complete = 1,
        Prefix = 2,
        Code = 3,
        SubCode = 4,
        Arguments = 5, // between two of them
        Number = 6,
        Text = 7,
        Escape = 8, // behind a backslash
        HexHigh = 9,
        HexLow = 10,
    };

    ERxResult UpdateRxd();
    bool FillBuffer();
    const unsigned char* TakeDigits(const unsigned char* at, const unsigned char* end);
    const unsigned char* TakePlainText(const unsigned char* at, const unsigned char* end);
    void TakeByte(char byte);
    void Enter(ERxState state) noexcept { mRxState = state; }

    void OnWaiting(char byte);
    void OnPrefix(char byte);
    void OnCode(char byte);
    void OnSubCode(char byte);
    void OnNumber(char byte);
    void OnText(char byte);
    void OnEscape(char byte);
    void OnHexHigh(char byte);
    void OnHexLow(char byte);
    void OnParmStart(char byte);

    void StartMessage();
    void StartText();
    void Accumulate(char byte);
    void AccumulateDigit(char byte);
    std::string_view GetAccumulated() const noexcept { return {mAccumulator.data(), mAccumulated}; }
    void AppendText(char byte);
    bool EndNumber();
    void EndText();
    bool CheckArgCount();
    bool ParsePrefix();
    bool ParseAddresses(std::string_view text);
    bool ParseSource(std::string_view text);
    void SyntaxError(const std::string& text, int value);

    void RxdMessageComplete();
    bool TakeChecksum();
    void RxdPreProcessMsg() override;
    void RxdProcessMsg() override;
    bool HandleMessage();
    bool IsRefused(bool isCommand);
    bool ExtCommand(CIpcMessage* command);
    bool ExtRequest(CIpcMessage* request);
    bool ExtReply(CIpcMessage* reply);
    bool HandleNotificationRequests(const CIpcMessage& message);
    void KeepRegistrations(const CIpcMessage& message);
    void RenewRegistrations();
    bool HandleUserLogin(CIpcMessage* message);
    void FinishLogIn(const std::string& user, const SLogInResult& result);
    void SetAccessGroup(int group);
    void Acknowledge(bool success);

    void SendReply(CIpcMessage& reply);
    template <typename TWrite>
    void Output(const char* what, TWrite write);

    static inline unsigned short mAddress = CIpcMessage::kNoAddress;
    static inline ENetworkRouting mRouting = eRouting2And4;
    static inline ERemoteAccess mRemoteAccess = eRemoteAccessFull;

    CEventLink* const mLink;
    CSerialHandler* const mHandler;
    CCommPort* const mPort;
    ILog& mLog;

    ERxResult mRxResult = ERxResult::Busy;
    ERxState mRxState = ERxState::Waiting;
    std::array<char, kMaxAccumulated> mAccumulator{};
    std::size_t mAccumulated = 0;
    std::string mText;
    int mHexHigh = 0;
    unsigned char mModifier = 0;
    bool mSeparated = false;                  // white space stood in front of what comes
    bool mTextRefused = false;                // one of the texts can not be stored
    std::uint8_t mChecksum = 0;               // of all bytes behind the "("
    std::uint8_t mChecksumHere = 0;           // snapshot in front of the latest number
    CIpcMessage mMessage;                     // the one that arrives or is being handled
    ESerialCode mCode = ESerialCode::Control; // of it
    std::array<unsigned char, kReceiveBuffer> mRxBuffer{};
    std::size_t mRxRead = 0;
    std::size_t mRxFilled = 0;
    std::string mTxBuffer;
    bool mLosesOutput = false;

    std::string mUser;
    int mAccessGroup = kDefaultAccessGroup;
    int mDefaultAccessGroup = kDefaultAccessGroup;
    CTimer mInactivity;
    bool mAckWanted = false;
    bool mLogInRunning = false;
    const std::shared_ptr<bool> mAlive;     // a log-in may end when the parser has gone
    std::map<std::string, int> mRegistered; // codes that this line registered, and how often
};
