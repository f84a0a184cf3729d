// Serial ports as a user names them.
#pragma once

#include <memory>
#include <string>

class CCommPort;

namespace NCommPort
{
struct SDevice
{
    std::string mName;
    unsigned mBaud;
};
/// Takes "DEVICE" or "DEVICE:BAUD" apart; without a rate it is `CCommPort::kDefaultBaud`.
/// @throws CException "Invalid baud rate in %s"
SDevice Split(const std::string& description);

/// Opens "DEVICE", "DEVICE:BAUD", or "pty" for a new pseudo-terminal.
/// @param link  for "pty": where a link to its other side is put
/// @throws CException "Invalid baud rate in %s", and those of `CCommPort` and `CPseudoPort`
std::unique_ptr<CCommPort> Open(const std::string& description, const std::string& link);
} // namespace NCommPort
