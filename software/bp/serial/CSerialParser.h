// What the serial handler drives: the protocol of one port.
#pragma once

#include "software/bp/serial/ERxResult.h"
#include "software/include/EFyiCode.h"
#include "software/include/ELogLevel.h"

#include <string>

/// Lives as long as its port is open. Nothing here waits. Used from the loop's thread only.
class CSerialParser
{
public:
    CSerialParser() = default;
    CSerialParser(const CSerialParser&) = delete;
    CSerialParser& operator=(const CSerialParser&) = delete;
    virtual ~CSerialParser() = default;

    virtual const char* GetProtocol() const = 0; ///< name of the protocol, for the log
    /// Takes what has arrived, up to the end of the next message.
    virtual ERxResult ProcessData() = 0;
    /// Writes a message of another port to this one; nothing happens unless `length` is positive.
    virtual void RelayMessage(const unsigned char* bytes, int length) = 0;
    /// Announces an error of the unit on this line.
    virtual ERxResult ProcessErrors(const std::string& text, ELogLevel level, EFyiCode code) = 0;
    /// Whether the line takes input now: it is open, and waits for nothing.
    virtual bool IsSelectable() const = 0;

protected:
    virtual void RxdPreProcessMsg() = 0; ///< passes a complete message on
    virtual void RxdProcessMsg() = 0;    ///< handles a complete message for this unit

public:
    virtual bool IsClosed() const = 0;
    /// Whether bytes that were read already wait to be taken.
    virtual bool HasInput() const = 0;
    /// Writes what the port did not take before.
    virtual void FlushOutput() = 0;
    /// Ends a log-in that has not been used for too long.
    virtual void EndIdleLogIn() = 0;
    /// Tells the line of a key that was pressed.
    virtual void BroadcastKey(int key) = 0;
};
