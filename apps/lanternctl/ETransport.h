// The ways to reach a projector.
#pragma once

/// One bit each, for sets of them.
enum ETransport : unsigned
{
    eOverTcp = 0x1,    ///< its network interface
    eOverIpc = 0x2,    ///< the local IPC of the control process
    eOverSerial = 0x4, ///< a serial line
};
constexpr unsigned kOverAll = eOverTcp | eOverIpc | eOverSerial;
