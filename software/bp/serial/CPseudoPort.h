// A serial port without a wire.
#pragma once

#include "software/bp/serial/CCommPort.h"

#include <string>

/// A pseudo-terminal: whoever opens its other side, under the name of a link, talks to this unit; they may
/// come and go. What is written while nobody is there is dropped, and so is what the last of them did not
/// read: the next would take it for answers of its own.
class CPseudoPort : public CCommPort
{
public:
    /// @param link  the path that leads to the other side; a link that is there already is replaced
    /// @throws CException "Unable to open a pseudo-terminal", "Unable to set up pseudo-terminal %s",
    ///                    "%s exists and is no link", "Unable to link %s to %s"
    explicit CPseudoPort(const std::string& link);
    ~CPseudoPort() override; ///< removes the link, unless it leads elsewhere by now

    int Read(unsigned char* bytes, int size) override;
    bool Write(const unsigned char* bytes, int size) override;
    bool IsConnected() const noexcept override { return mIsConnected; }
    int GetPeerDescriptor() const noexcept override { return mPeers.Get(); }
    void LookForPeer() override;

    const std::string& GetSlaveName() const noexcept { return mSlaveName; }

private:
    explicit CPseudoPort(const std::string& link, CDescriptor master);
    void Look() noexcept;
    bool TakeEvents() noexcept;
    void ForgetPeer() noexcept;

    const std::string mLink;
    std::string mSlaveName;
    CDescriptor mPeers; // an inotify descriptor: the other side was opened or closed
    bool mHasPeer = false;
    bool mIsConnected = false; // somebody is there, or left something to read
};
