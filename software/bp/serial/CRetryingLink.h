// Messages to the control process, with time-outs and retries.
#pragma once

#include "software/bp/serial/IIpcClient.h"
#include "software/include/EError.h"

#include <functional>
#include <list>
#include <memory>

class CIpcMessage;
class ILog;

enum ERetryMode : unsigned
{
    eRetryNone = 0,
    eRetryFixed = 1,    ///< without end, after the same interval every time
    eRetryDoubling = 2, ///< three times: the interval is doubled before each sleep, until it is above 7 s
};

/// Sends a message and collects its replies. A call blocks its thread for its time-out and for the sleeps
/// between retries; nothing is thrown, every failure is an `EError`. One thread uses a link.
///
/// @param accessGroup  everywhere: the level of whoever is asking, `kNoAccessGroup` for the controller itself
class CRetryingLink
{
public:
    static constexpr int kNoAccessGroup = -1;
    static constexpr unsigned kMaxReplies = 2048; ///< to one message; of at most 4095 bytes each

    CRetryingLink(ILog& log, std::unique_ptr<IIpcClient> client);
    CRetryingLink(const CRetryingLink&) = delete;
    CRetryingLink& operator=(const CRetryingLink&) = delete;
    virtual ~CRetryingLink();

    /// Called before the first message, and before each further one until it has called `SetInitialized`.
    /// A derived link that can not get ready leaves it out: the message then fails with error 111.
    virtual void InitializeLink();

    /// Sends a command and waits for its reply.
    /// @param command    its argument 231 and its flags for "request" and "reply wanted" are the link's
    /// @param reply      the last reply; on a failure that the control process answered, its error message
    /// @param timeoutMs  longest wait for each reply, and a tenth of the longest wait for all that follow the
    ///                   first; 0 sends one-way, without waiting
    /// @returns 0, the error of the reply, 107 for more than `kMaxReplies`, 110 when the time ran out, 111
    /// when
    ///          there is no way there; without sending 4 or 107 when the message has too many arguments or is
    ///          too large
    EError SendCommand(int accessGroup, CIpcMessage& command, CIpcMessage& reply, unsigned timeoutMs);
    /// The same for a request, whose replies may be many; an error message is among them.
    EError SendRequest(int accessGroup, CIpcMessage& request, std::list<CIpcMessage>& replies,
                       unsigned timeoutMs);

    /// @param initialSeconds  the interval that a call starts with
    void SetRetryMode(ERetryMode mode, unsigned initialSeconds = kInitialRetrySeconds) noexcept;
    void SetSleep(std::function<void(unsigned seconds)> sleep); ///< replaces the sleep between retries

protected:
    void SetInitialized(bool initialized = true) noexcept { mInitialized = initialized; }
    IIpcClient& GetClient() const noexcept { return *mClient; }
    ILog& GetLog() const noexcept { return mLog; }

private:
    static constexpr unsigned kInitialRetrySeconds = 1;

    EError Transact(const char* function, int accessGroup, CIpcMessage& message, unsigned timeoutMs,
                    std::list<CIpcMessage>* replies, CIpcMessage& last);
    EError Attempt(const char* function, CIpcMessage& message, unsigned timeoutMs,
                   std::list<CIpcMessage>* replies, CIpcMessage& last);
    EError CollectReplies(const char* function, const CIpcMessage& message, unsigned timeoutMs,
                          std::list<CIpcMessage>* replies, CIpcMessage& last);
    EError Exchange(const char* function, CIpcMessage& message, unsigned timeoutMs,
                    std::list<CIpcMessage>* replies, CIpcMessage& last);
    static EError AddAccessGroup(CIpcMessage& message, int accessGroup);
    bool CheckForRetryAndSleep(const char* function, EError error, const CIpcMessage& message,
                               unsigned& seconds);

    ILog& mLog;
    const std::unique_ptr<IIpcClient> mClient; // with the notification server behind it
    ERetryMode mRetryMode = eRetryNone;
    unsigned mInitialRetrySeconds = kInitialRetrySeconds;
    bool mInitialized = false;
    std::function<void(unsigned)> mSleep;
};
