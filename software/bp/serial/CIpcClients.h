// The clients that are connected to the control process.
#pragma once

#include "software/bp/serial/CIpcConnection.h"
#include "software/bp/serial/CIpcListener.h"
#include "software/utility/CIpcMessage.h"
#include "software/utility/CSelectWrapper.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

class ILog;

/// Accepts clients, takes the messages out of what they send and gives them their replies. Nothing here waits
/// for a client: one whose bytes are no messages, or that does not read its replies, is dropped.
class CIpcClients
{
public:
    /// Appends the bytes of the replies to a message, which may be changed.
    using Answer = std::function<void(CIpcMessage& message, std::vector<unsigned char>& replies)>;

    static constexpr std::uint64_t kEndTag = std::uint64_t{1} << 63; ///< its descriptors are watched below it

    /// @param select       not owned, must outlive it, as the log must
    /// @throws CException  those of `CIpcListener`
    CIpcClients(CSelectWrapper& select, const std::string& socketName, Answer answer, ILog& log);
    CIpcClients(const CIpcClients&) = delete;
    CIpcClients& operator=(const CIpcClients&) = delete;
    ~CIpcClients();

    const std::string& GetSocketName() const noexcept { return mListener.GetName(); }

    void Resume(); ///< accepts again after a pause for want of descriptors
    /// Serves the client that was alone in the last pass, before the system is asked who is ready.
    /// @returns whether it had something to answer
    bool ServeLone();
    void OnReady(std::uint64_t tag, bool readable);

private:
    void Accept();
    void Serve(std::uint64_t tag, bool readable);
    bool ReadMessages(std::uint64_t tag, CIpcConnection& connection);
    bool AnswerMessages(std::uint64_t tag, CIpcConnection& connection);
    void WatchOutput(std::uint64_t tag, CIpcConnection& connection);
    void Drop(std::uint64_t tag) noexcept;

    CSelectWrapper& mSelect;
    const Answer mAnswer;
    ILog& mLog;
    CIpcListener mListener;
    std::map<std::uint64_t, CIpcConnection> mConnections; // by tag
    std::uint64_t mNextTag;
    std::uint64_t mLoneTag;  // of the client whose single message was all of the last pass
    unsigned mLoneTurns = 0; // passes in a row that looked at that client alone
    unsigned mAnswered = 0;  // messages in this pass
    CIpcMessage mMessage;    // the one that is being handled
};
