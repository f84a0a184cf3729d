// A serial line to a projector.
#pragma once

#include "apps/lanternctl/CSerialReader.h"
#include "apps/lanternctl/NWait.h"
#include "software/bp/serial/CCommPort.h"

#include <chrono>
#include <string>
#include <utility>

/// A terminal device: a port of this machine, or the pseudo-terminal of a daemon. It is raw from its opening
/// on and stays so, for a projector must not hear its own words echoed. One process talks at a time: the line
/// is locked for as long as this lives, without a trace in the terminal's own settings, which would outlive
/// it.
class CSerialLine
{
public:
    /// Opens it, which waits for another client to end, and drops what has come in before.
    /// @param description  "DEVICE" or "DEVICE:BAUD"
    /// @param timeout      longest wait for the lock, above 0
    /// @throws CCommandFailure  no connection; wrong usage for a rate that does not exist
    CSerialLine(const std::string& description, std::chrono::milliseconds timeout);

    /// Sends at once what the line takes; the rest goes while `Receive` waits.
    void Send(const std::string& line);
    /// Waits for bytes. @returns `Change` when there may be something new in the reader
    IProjectorLink::EWait Receive(const NWait::Deadline& deadline, int interrupt);
    bool HasUnsent() const; ///< whether the line has not taken everything yet
    CSerialReader& GetReader() noexcept { return mReader; }

    const std::string& GetName() const noexcept { return mPort.GetName(); }

private:
    // A port over a descriptor that is open already.
    class CPort : public CCommPort
    {
    public:
        CPort(std::string name, CDescriptor descriptor)
            : CCommPort(std::move(name), std::move(descriptor))
        {
        }
    };

    static CPort Open(const std::string& description, std::chrono::milliseconds timeout);

    CPort mPort;
    CSerialReader mReader;
};
