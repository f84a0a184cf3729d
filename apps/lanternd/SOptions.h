// What the command line chooses.
#pragma once

#include "software/bp/rtl/EPtTransport.h"
#include "software/bp/serial/ENetworkRouting.h"
#include "software/bp/serial/NIpcSocket.h"
#include "software/include/ELogLevel.h"
#include "software/utility/CIpcMessage.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct SOptions
{
    std::uint16_t mPort = 7400; ///< 0: a free one
    std::string mBindAddress = "0.0.0.0";
    std::string mRunDir = NIpcSocket::kRunDirectory; ///< sockets of the local IPC, links to pseudo-terminals
    std::string mStateDir = "/var/lib/lantern";
    std::string mConfigDir;                               ///< as installed, unless given
    std::string mLanguage = "en";                         ///< of names and help: texts.LANGUAGE.json
    std::size_t mMaxClients = 0;                          ///< 0: as many as there are file descriptors for
    std::size_t mMaxPerPeer = 0;                          ///< 0: half of them
    std::size_t mMaxPendingBytes = std::size_t{64} << 20; ///< of all clients together
    std::vector<std::string> mSerialPorts;                ///< each "DEVICE", "DEVICE:BAUD" or "pty"
    int mAddress = CIpcMessage::kNoAddress;               ///< of this unit on the serial lines
    ENetworkRouting mRouting = eRouting2And4;             ///< between the serial lines
    EPtTransport mTransport = EPtTransport::Local;        ///< of the board's registers
    ELogLevel mLogLevel = ELogLevel::Fyi;
    std::string mLogFile; ///< empty: none
    bool mUseSyslog = false;
};
