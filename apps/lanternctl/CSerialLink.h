// A projector on a serial line.
#pragma once

#include "apps/lanternctl/CMessageLink.h"
#include "apps/lanternctl/CSerialLine.h"

#include <chrono>
#include <set>
#include <string>

/// The protocol in parentheses. Every message goes to the unit at the other end alone, is checksummed, and
/// asks for an acknowledgement, which tells when its answers are complete. Answers come back to the address
/// that the message came from: ours, one that an earlier client most likely did not have. So neither
/// notifications nor late answers to somebody else are taken for ours.
class CSerialLink : public CMessageLink
{
public:
    /// @param description  "DEVICE" or "DEVICE:BAUD"
    /// @param timeout      longest wait for the line and for each reply, above 0
    CSerialLink(const std::string& description, std::chrono::milliseconds timeout);
    ~CSerialLink() override; ///< ends its registrations

    /// Raises the level of this line, until it was silent for an hour; as of `CTcpLink`.
    void LogIn(const std::string& user, const std::string& password);
    void Watch(const std::vector<std::string>& codes) override;

private:
    Refusal Request(CIpcMessage& request, std::list<CIpcMessage>& replies) override;
    Refusal Command(CIpcMessage& command, CIpcMessage& reply) override;
    EWait Receive(const NWait::Deadline& deadline, int interrupt) override;

    void Send(CIpcMessage& message);
    std::string Await(const NWait::Deadline& deadline, std::chrono::milliseconds timeout);
    Refusal Exchange(CIpcMessage& message, std::list<CIpcMessage>& replies);
    Refusal Exchange(CIpcMessage& message, std::list<CIpcMessage>& replies,
                     std::chrono::milliseconds timeout);
    bool IsReplyTo(const CIpcMessage& message, const CIpcMessage& received) const;
    void TakeAside(const CIpcMessage& received);
    Refusal Register(const std::vector<std::string>& codes);

    const std::chrono::milliseconds mTimeout;
    const unsigned short mAddress;
    CSerialLine mLine;
    std::set<std::string> mWatched; // codes
};
