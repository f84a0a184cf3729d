// A serial port without a wire.
#pragma once

#include "software/bp/serial/CCommPort.h"

#include <string>

/// A pseudo-terminal: whoever opens its other side, under the name of a link, talks to this unit. It stays
/// usable when they leave, for it keeps the other side open itself: without that, the port would report a
/// hang-up for ever. What is written while nobody reads is kept up to the limit and lost beyond.
class CPseudoPort : public CCommPort
{
public:
    /// @param link  the path that leads to the other side; a link that is there already is replaced
    /// @throws CException "Unable to open a pseudo-terminal", "Unable to set up pseudo-terminal %s",
    ///                    "%s exists and is no link", "Unable to link %s to %s"
    explicit CPseudoPort(const std::string& link);
    ~CPseudoPort() override; ///< removes the link, unless it leads elsewhere by now

    const std::string& GetSlaveName() const noexcept { return mSlaveName; }

private:
    explicit CPseudoPort(const std::string& link, CDescriptor master);

    const std::string mLink;
    std::string mSlaveName;
    CDescriptor mSlave;
};
